#pragma once

#include <QHash>
#include <QObject>
#include <QSocketNotifier>
#include <functional>

namespace simulator
{
/// Serves control lines on a Unix-domain socket: one UTF-8 line in, one answer out, any number of clients.
class ControlServer : public QObject
{
    Q_OBJECT

public:
    /// Listens at that path, in place of a socket that a dead simulator left. Throws std::runtime_error when
    /// the path cannot be used.
    ControlServer(QString path, std::function<QString(const QString &)> run);
    ~ControlServer() override;
    ControlServer(const ControlServer &) = delete;
    ControlServer &operator=(const ControlServer &) = delete;

private:
    struct Client {
        QSocketNotifier *readable = nullptr;
        QByteArray input;
    };

    void accept();
    void read(int descriptor);
    void drop(int descriptor);

    QString m_path;
    std::function<QString(const QString &)> m_run;
    int m_listener = -1;
    QSocketNotifier *m_incoming = nullptr;
    QHash<int, Client> m_clients;
};

/// Sends one line to the simulator at that path and waits for its answer, which goes to standard output.
/// Returns the exit status: 0 for ok, 1 for an error.
int runControlCommand(const QString &path, const QString &line);
} // namespace simulator
