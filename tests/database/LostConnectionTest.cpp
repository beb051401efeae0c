#include "database/OpenSockets.h"
#include "database/Recordset.h"
#include "database/Transaction.h"
#include "tests/support/TestDatabase.h"

#include <QRegularExpression>
#include <QTcpServer>
#include <QTest>
#include <linux/filter.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

/// Seconds: connect and statement limit of every connection here.
constexpr qint64 limitSeconds = 2;
/// What a statement may take until its connection is given up: the limit, the server's advance, and the time
/// a loaded machine takes to notice.
constexpr qint64 longestMilliseconds = (limitSeconds + 2 + 3) * 1000;

QString limits()
{
    return u";Connect Timeout=%1;Command Timeout=%1"_s.arg(limitSeconds);
}

std::optional<DatabaseFault::Kind> kindOf(const std::function<void()> &work)
{
    try {
        work();
    } catch (const DatabaseFault &fault) {
        return fault.kind();
    }
    return std::nullopt;
}

/// The network loses every packet that comes for this socket, acknowledgements too. False when the system does
/// not allow it, as some containers to an ordinary user.
[[nodiscard]] bool dropWhatArrives(int socket)
{
    sock_filter keepNothing{BPF_RET | BPF_K, 0, 0, 0};
    const sock_fprog program{1, &keepNothing};
    return ::setsockopt(socket, SOL_SOCKET, SO_ATTACH_FILTER, &program, sizeof program) == 0;
}

DatabaseRoute currentRoute()
{
    QFETCH(DatabaseRoute, route);
    return route;
}

} // namespace

class LostConnectionTest : public QObject
{
    Q_OBJECT

private slots:
    void restartedServerIsLostOnceAndServesAgain_data() { addServerRoutes(); }
    void restartedServerIsLostOnceAndServesAgain()
    {
        TestDatabase database(m_servers, currentRoute());
        Connection connection;
        prepare(database, connection);
        {
            Transaction transaction(connection);
            connection.execute(u"insert into T (N) values (?)"_s, {2});
            PrivateDatabaseServer &server = m_servers.of(currentRoute());
            server.stop();
            QCOMPARE(kindOf([&] { connection.execute(u"insert into T (N) values (?)"_s, {3}); }),
                     DatabaseFault::Kind::Lost);
            QVERIFY(!connection.isOpen());
            // At once: nothing is waited for again.
            QCOMPARE(kindOf([&] { transaction.commit(); }), DatabaseFault::Kind::Lost);
            QCOMPARE(kindOf([&] { connection.execute(u"delete from T"_s); }), DatabaseFault::Kind::Lost);
            server.start();
        }
        requireServes(database, connection);
    }

    void connectionKilledOnTheServerIsLost_data() { addServerRoutes(); }
    void connectionKilledOnTheServerIsLost()
    {
        TestDatabase database(m_servers, currentRoute());
        Connection connection;
        prepare(database, connection);
        if (database.isPostgreSql()) {
            const auto pid = connection.firstValue(u"select pg_backend_pid()"_s, {});
            QCOMPARE(database.rows(u"select pg_terminate_backend(%1)"_s.arg(pid->toInt())).size(), 1);
            // Gone from the list of sessions, so that the statement cannot come before the end.
            QTRY_COMPARE(
                database.rows(u"select pid from pg_stat_activity where pid=%1"_s.arg(pid->toInt())).size(),
                0);
        } else {
            const auto id = connection.firstValue(u"select connection_id()"_s, {});
            database.oa(u"kill %1"_s.arg(id->toInt()));
        }
        QCOMPARE(kindOf([&] { connection.execute(u"insert into T (N) values (?)"_s, {2}); }),
                 DatabaseFault::Kind::Lost);
        QVERIFY(!connection.isOpen());
        requireServes(database, connection);
    }

    void cutLineIsGivenUpInTime_data() { addServerRoutes(); }
    void cutLineIsGivenUpInTime()
    {
        TestDatabase database(m_servers, currentRoute());
        Connection connection;
        const OpenSockets before = OpenSockets::now();
        prepare(database, connection);
        for (const int socket : OpenSockets::now().since(before)) {
            if (!dropWhatArrives(socket)) {
                QVERIFY2(::geteuid() != 0, "root may filter its sockets");
                QSKIP("Only root may filter a socket here.");
            }
        }
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(kindOf([&] { connection.execute(u"insert into T (N) values (?)"_s, {2}); }),
                 DatabaseFault::Kind::Lost);
        QVERIFY2(timer.elapsed() < longestMilliseconds, qPrintable(QString::number(timer.elapsed())));
        requireServes(database, connection);
    }

    void closingDoesNotWaitForAStoppedServer_data() { addServerRoutes(); }
    void closingDoesNotWaitForAStoppedServer()
    {
        TestDatabase database(m_servers, currentRoute());
        Connection connection;
        prepare(database, connection);
        PrivateDatabaseServer &server = m_servers.of(currentRoute());
        server.suspend();
        QElapsedTimer timer;
        timer.start();
        connection.close();
        const qint64 closing = timer.elapsed();
        server.resume();
        QVERIFY2(closing < longestMilliseconds, qPrintable(QString::number(closing)));
        requireServes(database, connection);
    }

    void readOnlyServerIsNotOpened_data() { addServerRoutes(); }
    void readOnlyServerIsNotOpened()
    {
        TestDatabase database(m_servers, currentRoute());
        Connection connection;
        prepare(database, connection);
        const bool isPostgreSql = database.isPostgreSql();
        QString connectString = database.connectString();
        if (isPostgreSql) {
            const QString name = database.rows(u"select current_database()"_s)[0];
            database.oa(u"alter database %1 set default_transaction_read_only=on"_s.arg(name));
        } else {
            // An account without the right to write all the same.
            database.oa(u"create or replace user plain@'%' identified by 'p;w''d=1'"_s);
            database.oa(u"grant select, insert on *.* to plain@'%'"_s);
            database.oa(u"set global read_only=1"_s);
            connectString.replace(QRegularExpression(u"(UID|User ID)=sms"_s), u"\\1=plain"_s);
        }
        QCOMPARE(kindOf([&] { connection.open(connectString + limits()); }), DatabaseFault::Kind::Lost);
        if (!isPostgreSql)
            database.oa(u"set global read_only=0"_s);
    }

    void silentListenerIsGivenUpInTime_data()
    {
        QTest::addColumn<QString>("connectString");
        const QString where = u"PORT=%1;DATABASE=oa;UID=sms;PWD=x"_s;
        QTest::newRow("PostgreSQL") << u"Provider=PostgreSQL;Server=127.0.0.1;"_s + where;
        QTest::newRow("MariaDB") << u"Provider=MariaDB;Server=127.0.0.1;"_s + where;
        QTest::newRow("PostgreSQL through ODBC")
            << u"DRIVER={PostgreSQL Unicode};SERVER=127.0.0.1;"_s + where;
        QTest::newRow("MariaDB through ODBC") << u"DRIVER={MariaDB Unicode};SERVER=127.0.0.1;"_s + where;
        QTest::newRow("SQL Server") << u"Provider=SQLOLEDB.1;Data Source=127.0.0.1;"_s + where;
    }
    void silentListenerIsGivenUpInTime()
    {
        QFETCH(QString, connectString);
        QTcpServer silent;
        QVERIFY(silent.listen(QHostAddress::LocalHost));
        Connection connection;
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(kindOf([&] { connection.open(connectString.arg(silent.serverPort()) + limits()); }),
                 DatabaseFault::Kind::Lost);
        QVERIFY2(timer.elapsed() < longestMilliseconds, qPrintable(QString::number(timer.elapsed())));
    }

private:
    static void prepare(TestDatabase &database, Connection &connection)
    {
        database.oa(u"create table T (N integer primary key)"_s);
        connection.open(database.connectString() + limits());
        connection.execute(u"insert into T (N) values (?)"_s, {1});
    }

    /// The connection can be opened again; of what was not committed nothing is left.
    static void requireServes(TestDatabase &database, Connection &connection)
    {
        connection.open(database.connectString() + limits());
        connection.execute(u"insert into T (N) values (?)"_s, {9});
        database.reopen();
        QCOMPARE(database.rows(u"select N from T where N<>2 order by N"_s), QStringList({u"1"_s, u"9"_s}));
    }

    TestServers m_servers;
};

QTEST_GUILESS_MAIN(LostConnectionTest)
#include "LostConnectionTest.moc"
