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
    /// Sends the signal and waits for the end.
    [[nodiscard]] bool end(int signal)
    {
        ::kill(pid_t(processId()), signal);
        return waitForFinished();
    }
    [[nodiscard]] QString errors()
    {
        m_errors += readAllStandardError();
        return QString::fromUtf8(m_errors);
    }

private:
    QByteArray m_errors;
};
