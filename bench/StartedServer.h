#pragma once

#include "tests/support/ServerProcess.h"

/// The built server with its service started.
class StartedServer
{
public:
    /// settingsFile holds all it needs. Returns once the port is connected.
    explicit StartedServer(const QString &settingsFile, const QStringList &options = {});
    ~StartedServer();
    StartedServer(const StartedServer &) = delete;
    StartedServer &operator=(const StartedServer &) = delete;

    [[nodiscard]] qint64 processId() const { return m_process.processId(); }
    /// The next line on standard error: a log line or a trace line.
    [[nodiscard]] QString nextLine();

private:
    ServerProcess m_process;
};
