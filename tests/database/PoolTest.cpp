#include "tests/database/DatabaseWork.h"
#include "tests/support/Loopback.h"

#include <QProcess>
#include <pwd.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

/// pgbouncer in front of a private PostgreSQL.
class Pool
{
public:
    Pool(const PrivateDatabaseServer &server, const QString &mode)
    {
        QFile settings(m_folder.filePath(u"pool.ini"_s));
        if (!settings.open(QIODevice::WriteOnly))
            throw Fault(settings.errorString());
        settings.write(
            u"[databases]\n* = host=127.0.0.1 port=%1 user=%2 password='%3'\n"
            "[pgbouncer]\nlisten_addr=127.0.0.1\nlisten_port=%4\nunix_socket_dir=\nauth_type=any\n"
            "pool_mode=%5\nignore_startup_parameters=extra_float_digits\n"_s.arg(server.port())
                .arg(PrivateDatabaseServer::user(), PrivateDatabaseServer::password().replace(u'\'', "''"_L1))
                .arg(m_port)
                .arg(mode)
                .toUtf8());
        settings.close();
        QFile::setPermissions(m_folder.path(),
                              QFile::permissions(m_folder.path()) | QFile::ReadOther | QFile::ExeOther);
        settings.setPermissions(settings.permissions() | QFile::ReadOther);
        // It refuses to run as root.
        m_process.setChildProcessModifier([] {
            const passwd *account = ::geteuid() == 0 ? ::getpwnam("postgres") : nullptr;
            if (account && (::setgid(account->pw_gid) != 0 || ::setuid(account->pw_uid) != 0))
                ::_exit(127);
        });
        m_process.setStandardErrorFile(QProcess::nullDevice());
        m_process.start(u"/usr/sbin/pgbouncer"_s, {settings.fileName()});
    }
    ~Pool()
    {
        m_process.kill();
        m_process.waitForFinished();
    }

    [[nodiscard]] int port() const { return m_port; }

private:
    QTemporaryDir m_folder;
    QProcess m_process;
    const int m_port = freeLoopbackPort();
};

} // namespace

/// A pool of sessions between the program and its database.
class PoolTest : public QObject
{
    Q_OBJECT

private slots:
    void poolOfTransactionsIsRefused_data()
    {
        QTest::addColumn<DatabaseRoute>("route");
        QTest::addColumn<QString>("mode");
        QTest::newRow("session") << DatabaseRoute::PostgreSql << u"session"_s;
        QTest::newRow("transaction") << DatabaseRoute::PostgreSql << u"transaction"_s;
        QTest::newRow("statement, ODBC") << DatabaseRoute::PostgreSqlOdbc << u"statement"_s;
    }
    void poolOfTransactionsIsRefused()
    {
        QFETCH(DatabaseRoute, route);
        QFETCH(QString, mode);
        const Office database(route, SchemaKind::None);
        const Pool pool(serverOf(route), mode);
        const QString target = database.connectString().replace(QString::number(serverOf(route).port()),
                                                                QString::number(pool.port()));
        Connection connection;
        std::optional<DatabaseFault> fault;
        const auto isListening = [&] {
            fault = faultOf([&] { connection.open(target); });
            return !fault || fault->message().contains(u"连接池"_s);
        };
        QTRY_VERIFY2(isListening(), qPrintable(fault ? fault->message() : QString()));
        QCOMPARE(fault.has_value(), mode != u"session"_s);
        if (!fault)
            QCOMPARE(connection.firstValue(u"select 1"_s, {})->toInt(), 1);
    }
};

QTEST_GUILESS_MAIN(PoolTest)
#include "PoolTest.moc"
