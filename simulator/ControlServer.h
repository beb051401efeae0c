#pragma once

#include <QLocalServer>
#include <functional>

namespace simulator
{
/// Serves control lines on a Unix-domain socket: a client writes one UTF-8 line, gets the answer and is hung up.
class ControlServer : public QObject
{
public:
    /// Listens at that path, in place of a socket that a dead simulator left. Throws std::runtime_error when
    /// the path cannot be used.
    ControlServer(const QString &path, std::function<QString(const QString &)> run);

private:
    void accept();

    QLocalServer m_server;
    std::function<QString(const QString &)> m_run;
};

/// Sends one line to the simulator at that path and waits for its answer, which goes to standard output.
/// Returns the exit status: 0 for ok, 1 for an error. Throws std::runtime_error when there is no simulator.
int runControlCommand(const QString &path, QString line);
} // namespace simulator
