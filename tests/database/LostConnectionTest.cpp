#include "database/OpenSockets.h"
#include "database/Recordset.h"
#include "database/Transaction.h"
#include "tests/database/DatabaseWork.h"

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

/// The network loses every packet that comes for this socket, acknowledgements too. False when the system does
/// not allow it, as some containers to an ordinary user.
[[nodiscard]] bool dropWhatArrives(int socket)
{
    sock_filter keepNothing{BPF_RET | BPF_K, 0, 0, 0};
    const sock_fprog program{1, &keepNothing};
    return ::setsockopt(socket, SOL_SOCKET, SO_ATTACH_FILTER, &program, sizeof program) == 0;
}

} // namespace

class LostConnectionTest : public QObject
{
    Q_OBJECT

private slots:
    void restartedServerIsLostOnceAndServesAgain_data() { addRoutes(serverRoutes); }
    void restartedServerIsLostOnceAndServesAgain()
    {
        Office office(currentRoute(), SchemaKind::None);
        Connection connection;
        prepare(office, connection);
        {
            Transaction transaction(connection);
            connection.execute(u"insert into T (N) values (?)"_s, {2});
            PrivateDatabaseServer &server = serverOf(currentRoute());
            server.stop();
            QCOMPARE(kindOf([&] { connection.execute(u"insert into T (N) values (?)"_s, {3}); }),
                     DatabaseFault::Kind::Lost);
            QVERIFY(!connection.isOpen());
            // At once: nothing is waited for again.
            QCOMPARE(kindOf([&] { transaction.commit(); }), DatabaseFault::Kind::Lost);
            QCOMPARE(kindOf([&] { connection.execute(u"delete from T"_s); }), DatabaseFault::Kind::Lost);
            server.start();
        }
        requireServes(office, connection);
    }

    void connectionKilledOnTheServerIsLost_data() { addRoutes(serverRoutes); }
    void connectionKilledOnTheServerIsLost()
    {
        Office office(currentRoute(), SchemaKind::None);
        Connection connection;
        prepare(office, connection);
        if (office.isPostgreSql()) {
            const auto pid = connection.firstValue(u"select pg_backend_pid()"_s, {});
            QCOMPARE(office.rows(u"select pg_terminate_backend(%1)"_s.arg(pid->toInt())).size(), 1);
            // Gone from the list of sessions, so that the statement cannot come before the end.
            QTRY_COMPARE(
                office.rows(u"select pid from pg_stat_activity where pid=%1"_s.arg(pid->toInt())).size(), 0);
        } else {
            const auto id = connection.firstValue(u"select connection_id()"_s, {});
            office.oa(u"kill %1"_s.arg(id->toInt()));
        }
        QCOMPARE(kindOf([&] { connection.execute(u"insert into T (N) values (?)"_s, {2}); }),
                 DatabaseFault::Kind::Lost);
        QVERIFY(!connection.isOpen());
        requireServes(office, connection);
    }

    void cutLineIsGivenUpInTime_data() { addRoutes(serverRoutes); }
    void cutLineIsGivenUpInTime()
    {
        Office office(currentRoute(), SchemaKind::None);
        const OpenSockets before = OpenSockets::now();
        Connection connection;
        prepare(office, connection);
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
        requireServes(office, connection);
    }

    void closingDoesNotWaitForAStoppedServer_data() { addRoutes(serverRoutes); }
    void closingDoesNotWaitForAStoppedServer()
    {
        Office office(currentRoute(), SchemaKind::None);
        Connection connection;
        prepare(office, connection);
        PrivateDatabaseServer &server = serverOf(currentRoute());
        server.suspend();
        QElapsedTimer timer;
        timer.start();
        connection.close();
        const qint64 closing = timer.elapsed();
        server.resume();
        QVERIFY2(closing < longestMilliseconds, qPrintable(QString::number(closing)));
        requireServes(office, connection);
    }

    void readOnlyServerIsNotOpened_data() { addRoutes(serverRoutes); }
    void readOnlyServerIsNotOpened()
    {
        Office office(currentRoute(), SchemaKind::None);
        Connection connection;
        prepare(office, connection);
        const bool isPostgreSql = office.isPostgreSql();
        QString connectString = office.connectString();
        if (isPostgreSql) {
            const QString name = office.rows(u"select current_database()"_s)[0];
            office.oa(u"alter database %1 set default_transaction_read_only=on"_s.arg(name));
        } else {
            // An account without the right to write all the same.
            office.oa(u"create or replace user plain@'%' identified by 'p;w''d=1'"_s);
            office.oa(u"grant select, insert on *.* to plain@'%'"_s);
            office.oa(u"set global read_only=1"_s);
            connectString.replace(QRegularExpression(u"(UID|User ID)=sms"_s), u"\\1=plain"_s);
        }
        QCOMPARE(kindOf([&] { connection.open(connectString + limits()); }), DatabaseFault::Kind::Lost);
        if (!isPostgreSql)
            office.oa(u"set global read_only=0"_s);
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
    static void prepare(Office &office, Connection &connection)
    {
        office.oa(u"create table T (N integer primary key)"_s);
        connection.open(office.connectString() + limits());
        connection.execute(u"insert into T (N) values (?)"_s, {1});
    }

    /// The connection can be opened again; of what was not committed nothing is left.
    static void requireServes(Office &office, Connection &connection)
    {
        connection.open(office.connectString() + limits());
        connection.execute(u"insert into T (N) values (?)"_s, {9});
        office.reopen();
        QCOMPARE(office.rows(u"select N from T where N<>2 order by N"_s), QStringList({u"1"_s, u"9"_s}));
    }
};

QTEST_GUILESS_MAIN(LostConnectionTest)
#include "LostConnectionTest.moc"
