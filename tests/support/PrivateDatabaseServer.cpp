#include "tests/support/PrivateDatabaseServer.h"

#include "database/Connection.h"
#include "platform/files/Files.h"
#include "tests/support/Loopback.h"

#include <QTest>
#include <csignal>
#include <sys/prctl.h>

using namespace Qt::StringLiterals;

namespace
{

/// A machine that builds beside the tests needs most of it for its first data folder.
constexpr int startLimitMilliseconds = 180000;

/// All processes below one, itself first.
QList<pid_t> processTree(qint64 root)
{
    QList<pid_t> processes{static_cast<pid_t>(root)};
    QFile children(u"/proc/%1/task/%1/children"_s.arg(root));
    if (!children.open(QIODevice::ReadOnly))
        throw Fault(u"it has gone, or this system does not tell a process's children"_s);
    for (const QByteArray &child : children.readAll().split(' '))
        processes += child.toInt();
    processes.removeAll(0); // behind the last blank
    return processes;
}

} // namespace

PrivateDatabaseServer::PrivateDatabaseServer(System system) : m_system(system), m_port(freeLoopbackPort())
{
    QFile::setPermissions(m_folder.path(),
                          QFile::permissions(m_folder.path()) | QFile::ReadOther | QFile::ExeOther);
    // Not a pipe: a server that talks much would wait for its reader.
    m_process.setStandardOutputFile(logFile(), QIODevice::Append);
    m_process.setProcessChannelMode(QProcess::MergedChannels);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"DATABASE_USER"_s, user());
    environment.insert(u"DATABASE_PASSWORD"_s, password());
    // A server's own zone is rarely that of its clients.
    environment.insert(u"TZ"_s, u"America/New_York"_s);
    m_process.setProcessEnvironment(environment);
    m_process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    start();
}

PrivateDatabaseServer::~PrivateDatabaseServer()
{
    try {
        stop();
    } catch (const Fault &fault) {
        qWarning("%s", fault.what());
    }
}

void PrivateDatabaseServer::start(const QStringList &options)
{
    const bool isPostgreSql = m_system == System::PostgreSql;
    m_process.start(QStringLiteral(DATABASE_SERVER_SCRIPT),
                    QStringList{isPostgreSql ? u"postgresql"_s : u"mariadb"_s, m_folder.path(),
                                QString::number(m_port), u"127.0.0.1"_s} +
                        // Tests commit thousands of times and never lose power.
                        (isPostgreSql ? QStringList{u"-c"_s, u"fsync=off"_s, u"-c"_s, u"max_connections=30"_s}
                                      : QStringList{u"--skip-ssl"_s, u"--innodb-flush-method=nosync"_s,
                                                    u"--debug-no-sync"_s}) +
                        options);
    QString lastFault;
    const auto answers = [this, &lastFault] {
        try {
            Connection connection;
            connection.open(nativeConnectString(firstDatabase()));
            return true;
        } catch (const Fault &fault) {
            lastFault = fault.message();
            return m_process.state() == QProcess::NotRunning;
        }
    };
    if (!QTest::qWaitFor(answers, startLimitMilliseconds) || m_process.state() == QProcess::NotRunning)
        throw Fault(u"the database server did not start: %1\n%2"_s.arg(
            lastFault, QString::fromUtf8(readWhole(logFile()).octets.right(2000))));
}

void PrivateDatabaseServer::stop()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    const QList<pid_t> processes = processTree(m_process.processId());
    signalAll(SIGCONT);
    ::kill(processes.constFirst(), m_system == System::PostgreSql ? SIGQUIT : SIGKILL);
    if (!m_process.waitForFinished(startLimitMilliseconds))
        throw Fault(u"the database server does not end"_s);
    // PostgreSQL's children hold the shared memory until the last has gone.
    const auto allGone = [&processes] {
        return std::ranges::none_of(processes, [](pid_t process) { return ::kill(process, 0) == 0; });
    };
    if (!QTest::qWaitFor(allGone, startLimitMilliseconds))
        throw Fault(u"processes of the database server stay behind"_s);
}

void PrivateDatabaseServer::signalAll(int signal) const
{
    for (const pid_t process : processTree(m_process.processId()))
        ::kill(process, signal);
}

QString PrivateDatabaseServer::nativeConnectString(const QString &database) const
{
    return u"Provider=%1;Data Source=127.0.0.1;Port=%2;Initial Catalog=%3;User ID=%4;Password=\"%5\""_s
        .arg(m_system == System::PostgreSql ? u"PostgreSQL"_s : u"MariaDB"_s)
        .arg(m_port)
        .arg(database, user(), password());
}

QString PrivateDatabaseServer::odbcConnectString(const QString &database) const
{
    return u"DRIVER={%1};SERVER=127.0.0.1;PORT=%2;DATABASE=%3;UID=%4;PWD={%5};"_s
        .arg(m_system == System::PostgreSql ? u"PostgreSQL Unicode"_s : u"MariaDB Unicode"_s)
        .arg(m_port)
        .arg(database, user(), password());
}
