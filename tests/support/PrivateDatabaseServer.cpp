#include "tests/support/PrivateDatabaseServer.h"

#include "database/Connection.h"

#include <QDir>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTest>
#include <csignal>
#include <grp.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

/// A machine that builds beside the tests needs most of it for its first data folder.
constexpr int startLimitMilliseconds = 180000;

int freePort()
{
    QTcpServer probe;
    if (!probe.listen(QHostAddress::LocalHost))
        throw Fault(u"no free port: %1"_s.arg(probe.errorString()));
    return probe.serverPort();
}

void writeFile(const QString &fileName, const QString &text)
{
    QFile file(fileName);
    if (!file.open(QIODevice::WriteOnly) || file.write(text.toUtf8()) < 0)
        throw Fault(u"cannot write %1"_s.arg(fileName));
    file.setPermissions(file.permissions() | QFile::ReadOther);
}

/// Database servers refuse to run as root: the account that a system's package made for it.
const passwd *accountOf(PrivateDatabaseServer::System system)
{
    return ::geteuid() != 0
               ? nullptr
               : ::getpwnam(system == PrivateDatabaseServer::System::PostgreSql ? "postgres" : "mysql");
}

/// All processes below one, itself first.
QList<qint64> processTree(qint64 root)
{
    QList<qint64> processes{root};
    const QStringList all = QDir(u"/proc"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &name : all) {
        QFile status(u"/proc/%1/stat"_s.arg(name));
        if (name.toLongLong() == 0 || !status.open(QIODevice::ReadOnly))
            continue;
        // pid (name) state parent ...
        const QByteArray text = status.readAll();
        const QList<QByteArray> fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
        if (fields.value(1).toLongLong() == root)
            processes += name.toLongLong();
    }
    return processes;
}

} // namespace

PrivateDatabaseServer::PrivateDatabaseServer(System system) : m_system(system), m_port(freePort())
{
    if (!m_folder.isValid())
        throw Fault(u"no temporary folder"_s);
    QFile::setPermissions(m_folder.path(),
                          QFile::permissions(m_folder.path()) | QFile::ReadOther | QFile::ExeOther);
    makeData();
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

void PrivateDatabaseServer::makeData()
{
    const passwd *account = accountOf(m_system);
    for (const QString &folder : {dataFolder(), scratchFolder()}) {
        QDir().mkpath(folder);
        if (account && ::chown(QFile::encodeName(folder).constData(), account->pw_uid, account->pw_gid) != 0)
            throw Fault(u"cannot hand over %1"_s.arg(folder));
    }
    const QString secret = m_folder.filePath(u"secret"_s);
    if (m_system == System::PostgreSql) {
        writeFile(secret, password() + u'\n');
        runToEnd(program(u"initdb"_s),
                 {u"-D"_s, dataFolder(), u"-U"_s, user(), u"-A"_s, u"scram-sha-256"_s, u"--pwfile"_s, secret,
                  u"-E"_s, u"UTF8"_s, u"--locale=C.UTF-8"_s, u"--no-sync"_s});
    } else {
        writeFile(secret, u"create user if not exists '%1'@'%' identified by '%2';\n"
                          "grant all on *.* to '%1'@'%' with grant option;\n"_s.arg(
                              user(), password().replace(u'\'', "''"_L1)));
        runToEnd(program(u"mariadb-install-db"_s),
                 {u"--no-defaults"_s, u"--datadir="_s + dataFolder(), u"--tmpdir="_s + scratchFolder(),
                  u"--skip-test-db"_s, u"--auth-root-authentication-method=normal"_s,
                  u"--innodb-flush-method=nosync"_s, u"--debug-no-sync"_s});
    }
}

void PrivateDatabaseServer::start(const QString &address)
{
    m_address = address;
    // Not a pipe: a server that talks much would wait for its reader.
    m_process.setStandardOutputFile(logFile(), QIODevice::Append);
    if (m_system == System::PostgreSql)
        launch(m_process, program(u"postgres"_s),
               {u"-D"_s, dataFolder(), u"-p"_s, QString::number(m_port), u"-c"_s,
                u"listen_addresses="_s + address, u"-c"_s, u"unix_socket_directories="_s, u"-c"_s,
                u"fsync=off"_s, u"-c"_s, u"max_connections=30"_s});
    else
        launch(m_process, program(u"mariadbd"_s),
               {u"--no-defaults"_s, u"--datadir="_s + dataFolder(), u"--tmpdir="_s + scratchFolder(),
                u"--port="_s + QString::number(m_port), u"--bind-address="_s + address,
                u"--socket="_s + dataFolder() + u"/socket"_s, u"--pid-file="_s + dataFolder() + u"/pid"_s,
                u"--skip-name-resolve"_s, u"--innodb-flush-method=nosync"_s, u"--debug-no-sync"_s,
                u"--init-file="_s + m_folder.filePath(u"secret"_s)});
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
    QFile log(logFile());
    if (!QTest::qWaitFor(answers, startLimitMilliseconds) || m_process.state() == QProcess::NotRunning)
        throw Fault(u"the database server did not start: %1\n%2"_s.arg(
            lastFault,
            log.open(QIODevice::ReadOnly) ? QString::fromUtf8(log.readAll().right(2000)) : QString()));
}

void PrivateDatabaseServer::stop()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    const QList<qint64> processes = processTree(m_process.processId());
    signalAll(SIGCONT);
    ::kill(static_cast<pid_t>(m_process.processId()), m_system == System::PostgreSql ? SIGQUIT : SIGKILL);
    if (!m_process.waitForFinished(startLimitMilliseconds))
        throw Fault(u"the database server does not end"_s);
    // PostgreSQL's children hold the shared memory until the last has gone.
    const auto allGone = [&processes] {
        return std::none_of(processes.cbegin(), processes.cend(),
                            [](qint64 process) { return ::kill(static_cast<pid_t>(process), 0) == 0; });
    };
    if (!QTest::qWaitFor(allGone, startLimitMilliseconds))
        throw Fault(u"processes of the database server stay behind"_s);
}

void PrivateDatabaseServer::suspend()
{
    signalAll(SIGSTOP);
}

void PrivateDatabaseServer::resume()
{
    signalAll(SIGCONT);
}

QString PrivateDatabaseServer::nativeConnectString(const QString &database) const
{
    return u"Provider=%1;Data Source=%6;Port=%2;Initial Catalog=%3;User ID=%4;Password=\"%5\""_s
        .arg(m_system == System::PostgreSql ? u"PostgreSQL"_s : u"MariaDB"_s)
        .arg(m_port)
        .arg(database, user(), password(), m_address);
}

QString PrivateDatabaseServer::odbcConnectString(const QString &database) const
{
    return u"DRIVER={%1};SERVER=%6;PORT=%2;DATABASE=%3;UID=%4;PWD={%5};"_s
        .arg(m_system == System::PostgreSql ? u"PostgreSQL Unicode"_s : u"MariaDB Unicode"_s)
        .arg(m_port)
        .arg(database, user(), password(), m_address);
}

QString PrivateDatabaseServer::firstDatabase() const
{
    return m_system == System::PostgreSql ? u"postgres"_s : u"mysql"_s;
}

void PrivateDatabaseServer::launch(QProcess &process, const QString &program,
                                   const QStringList &arguments) const
{
    const passwd *account = accountOf(m_system);
    const int lastSignal = m_system == System::PostgreSql ? SIGQUIT : SIGKILL;
    process.setChildProcessModifier([account, lastSignal] {
        if (account && (::setgroups(0, nullptr) != 0 || ::setgid(account->pw_gid) != 0 ||
                        ::setuid(account->pw_uid) != 0))
            ::_exit(127);
        ::prctl(PR_SET_PDEATHSIG, lastSignal);
    });
    // A server's own zone is rarely that of its clients.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"TZ"_s, u"America/New_York"_s);
    process.setProcessEnvironment(environment);
    process.setWorkingDirectory(dataFolder());
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    if (!process.waitForStarted())
        throw Fault(u"cannot start %1: %2"_s.arg(program, process.errorString()));
}

void PrivateDatabaseServer::runToEnd(const QString &program, const QStringList &arguments) const
{
    QProcess process;
    launch(process, program, arguments);
    if (!process.waitForFinished(startLimitMilliseconds) || process.exitCode() != 0)
        throw Fault(u"%1 failed: %2"_s.arg(program, QString::fromUtf8(process.readAll())));
}

QString PrivateDatabaseServer::program(const QString &name) const
{
    QStringList folders{u"/usr/sbin"_s, u"/usr/bin"_s};
    const QDir versions(u"/usr/lib/postgresql"_s);
    const QStringList names =
        versions.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name | QDir::Reversed);
    for (const QString &version : names)
        folders += versions.filePath(version + u"/bin"_s);
    const QString path = QStandardPaths::findExecutable(name, folders);
    if (path.isEmpty())
        throw Fault(u"%1 is not installed"_s.arg(name));
    return path;
}

QString PrivateDatabaseServer::dataFolder() const
{
    return m_folder.filePath(u"data"_s);
}

QString PrivateDatabaseServer::logFile() const
{
    return m_folder.filePath(u"log"_s);
}

QString PrivateDatabaseServer::scratchFolder() const
{
    return m_folder.filePath(u"scratch"_s);
}

void PrivateDatabaseServer::signalAll(int signal) const
{
    const QList<qint64> processes = processTree(m_process.processId());
    for (const qint64 process : processes)
        ::kill(static_cast<pid_t>(process), signal);
}
