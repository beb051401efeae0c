#pragma once

#include "platform/files/Files.h"

#include <QProcess>
#include <csignal>

/// Milliseconds that a condition may take to come true on a machine that is busy with other work.
inline constexpr int patience = 60000;

/// The built server as a process of its own. It does not outlive the object.
class ServerProcess : public QProcess
{
public:
    /// On these settings, without a display and with the service started unless other options are named.
    /// runner: the command that runs it, with that command's own arguments.
    explicit ServerProcess(const QString &settingsFile, const QStringList &options = service(),
                           QStringList runner = {})
        : m_logFile(settingsFile + QStringLiteral(".log"))
    {
        runner += {QStringLiteral(SERVER_PROGRAM), QStringLiteral("--settings"), settingsFile,
                   QStringLiteral("--log-file"), m_logFile};
        start(runner.constFirst(), runner.sliced(1) + options);
    }
    ~ServerProcess() override
    {
        kill();
        waitForFinished();
    }
    [[nodiscard]] static QStringList service()
    {
        return {QStringLiteral("--headless"), QStringLiteral("--start")};
    }
    /// Sends the signal and waits for the end. False when it has ended before.
    [[nodiscard]] bool end(int signal = SIGTERM)
    {
        const auto process = pid_t(processId()); // 0 when it is gone, which would be everybody in our group
        return process != 0 && ::kill(process, signal) == 0 && waitForFinished();
    }
    /// What it has said on standard error: log lines, trace lines.
    [[nodiscard]] QString errors()
    {
        m_errors += readAllStandardError();
        return QString::fromUtf8(m_errors);
    }
    [[nodiscard]] const QString &logFile() const { return m_logFile; }
    /// All servers on these settings write one log file, unless their options name another.
    [[nodiscard]] QString log() const { return QString::fromUtf8(readWhole(m_logFile).octets); }

private:
    QString m_logFile;
    QByteArray m_errors;
};
