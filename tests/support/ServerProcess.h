#pragma once

#include <QProcess>
#include <csignal>

/// The built server as a process of its own, without a display.
class ServerProcess : public QProcess
{
public:
    explicit ServerProcess(const QStringList &arguments) { start(QStringLiteral(SERVER_PROGRAM), arguments); }
    ~ServerProcess() override
    {
        kill();
        waitForFinished();
    }
    /// Sends the signal and waits for the end. False when it has ended before.
    [[nodiscard]] bool end(int signal)
    {
        const auto process = pid_t(processId()); // 0 when it is gone, which would be everybody in our group
        return process != 0 && ::kill(process, signal) == 0 && waitForFinished();
    }
    [[nodiscard]] QString errors()
    {
        m_errors += readAllStandardError();
        return QString::fromUtf8(m_errors);
    }

private:
    QByteArray m_errors;
};
