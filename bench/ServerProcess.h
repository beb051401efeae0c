#pragma once

#include <QProcess>
#include <QString>

/// The built server as a process of its own, without a display, its service started.
class ServerProcess
{
public:
    /// settingsFile holds all it needs. Returns once the port is connected.
    explicit ServerProcess(const QString &settingsFile, const QStringList &options = {});
    ~ServerProcess();
    ServerProcess(const ServerProcess &) = delete;
    ServerProcess &operator=(const ServerProcess &) = delete;

    [[nodiscard]] qint64 processId() const { return m_process.processId(); }
    /// The next line on standard error: a log line or a trace line.
    [[nodiscard]] QString nextLine();

private:
    QProcess m_process;
};
