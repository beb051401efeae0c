#pragma once

#include <QProcess>
#include <QTemporaryDir>
#include <csignal>

/// A database server of the test's own, which demo/database-server.sh makes of this machine's packages: its data in
/// the temporary folder, a free port on the loopback address. Ended, and its data removed, with the object; it
/// does not outlive the test program either. Everything throws Fault when it does not work: a server that
/// cannot be had is a failure.
class PrivateDatabaseServer
{
public:
    enum class System { PostgreSql, MariaDb };

    /// Makes the data folder and starts the server.
    explicit PrivateDatabaseServer(System system);
    ~PrivateDatabaseServer();
    PrivateDatabaseServer(const PrivateDatabaseServer &) = delete;
    PrivateDatabaseServer &operator=(const PrivateDatabaseServer &) = delete;

    /// Returns when the server accepts logins.
    void start(const QStringList &options = {});
    /// At once, without goodbyes: what was not committed is lost, clients find their connections cut.
    void stop();
    /// Stops every process of the server where it is (SIGSTOP): connections stay, nothing answers.
    void suspend() { signalAll(SIGSTOP); }
    void resume() { signalAll(SIGCONT); }

    [[nodiscard]] int port() const { return m_port; }
    [[nodiscard]] QString folder() const { return m_folder.path(); }
    /// Holds characters that every style of connection string has to quote.
    [[nodiscard]] static QString password() { return QStringLiteral("p;w'd=1"); }
    [[nodiscard]] static QString user() { return QStringLiteral("sms"); }

    /// Through the server's native driver and through ODBC.
    [[nodiscard]] QString nativeConnectString(const QString &database) const;
    [[nodiscard]] QString odbcConnectString(const QString &database) const;
    /// A database that exists from the beginning, to create others from.
    [[nodiscard]] QString firstDatabase() const
    {
        return m_system == System::PostgreSql ? QStringLiteral("postgres") : QStringLiteral("mysql");
    }

private:
    [[nodiscard]] QString logFile() const { return m_folder.filePath(QStringLiteral("log")); }
    void signalAll(int signal) const;

    System m_system;
    QTemporaryDir m_folder;
    int m_port = 0;
    QProcess m_process;
};
