#pragma once

#include "tests/simulation/Story.h"

#include <functional>
#include <memory>

class LockTable;

/// One run of the real server, on this process's seams. It starts as an unattended service does. Destroyed without
/// stop(), it leaves things as a kill does.
class Server
{
public:
    /// number: from 1 on; its settings, its modem and its files carry it.
    /// locks: of the database, where there are several.
    Server(int number, const Story &story, LockTable &locks, std::function<void(const QString &line)> log);
    ~Server();
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

    /// As a signal does: whatever runs comes to its end soon.
    void requestStop();
    /// Ends it as the operator does; nothing of it may run.
    void stop();

private:
    class Parts;
    std::unique_ptr<Parts> m_parts;
};
