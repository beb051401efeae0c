#include "database/NamedLock.h"
#include "database/Transaction.h"
#include "database/odbc/OpenSockets.h"
#include "tests/database/DatabaseWork.h"

#include <QRegularExpression>
#include <QScopeGuard>
#include <QTcpServer>
#include <linux/filter.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

/// Connect and statement limit, in seconds, of every connection here.
constexpr qint64 limitSeconds = 1;
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

/// The kind of fault that the work ends with, which must not take it longer than that.
std::optional<DatabaseFault::Kind> inTime(const std::function<void()> &work)
{
    QElapsedTimer timer;
    timer.start();
    const auto kind = kindOf(work);
    if (timer.elapsed() >= longestMilliseconds)
        QTest::qFail(qPrintable(u"took %1 ms"_s.arg(timer.elapsed())), __FILE__, __LINE__);
    return kind;
}

} // namespace

class LostConnectionTest : public QObject
{
    Q_OBJECT

private:
    /// A connection in the middle of a transaction, which has written 2.
    struct Work {
        explicit Work(Office &office)
        {
            office.oa(u"create table T (N integer primary key)"_s);
            const OpenSockets before = OpenSockets::now();
            connection.open(office.connectString() + limits());
            sockets = OpenSockets::now().since(before);
            insert(1);
            transaction.emplace(connection);
            insert(2);
        }
        void insert(int number) { connection.execute(u"insert into T (N) values (?)"_s, {number}); }

        Connection connection;
        std::optional<Transaction> transaction;
        std::vector<int> sockets;
    };

    static QVariant sessionOf(Office &office, Connection &connection)
    {
        return *connection.firstValue(
            office.isPostgreSql() ? u"select pg_backend_pid()"_s : u"select connection_id()"_s, {});
    }
    static void kill(Office &office, const QVariant &session)
    {
        const int id = session.toInt();
        office.oa((office.isPostgreSql() ? u"select pg_terminate_backend(%1)"_s : u"kill %1"_s).arg(id));
        // Gone from the list of sessions, so that the statement cannot come before the end.
        if (office.isPostgreSql())
            QTRY_COMPARE(office.rows(u"select pid from pg_stat_activity where pid=%1"_s.arg(id)).size(), 0);
    }

private slots:
    void lossIsToldInTimeAndNothingUncommittedIsLeft_data()
    {
        addRoutes(serverRoutes, {u"restarted"_s, u"killed"_s, u"cut off"_s});
    }
    void lossIsToldInTimeAndNothingUncommittedIsLeft()
    {
        const QString how = cell("how");
        Office office(currentRoute(), SchemaKind::None);
        Work work(office);
        if (how == u"restarted")
            serverOf(office.route()).stop();
        else if (how == u"killed")
            kill(office, sessionOf(office, work.connection));
        for (const int socket : how == u"cut off" ? work.sockets : std::vector<int>()) {
            if (!dropWhatArrives(socket)) {
                QVERIFY2(::geteuid() != 0, "root may filter its sockets");
                QSKIP("Only root may filter a socket here.");
            }
        }
        QCOMPARE(inTime([&] { work.insert(3); }), DatabaseFault::Kind::Lost);
        QVERIFY(!work.connection.isOpen());
        // At once: nothing is waited for again.
        QCOMPARE(kindOf([&] { work.transaction->commit(); }), DatabaseFault::Kind::Lost);
        work.transaction.reset();
        QCOMPARE(kindOf([&] { work.connection.execute(u"delete from T"_s); }), DatabaseFault::Kind::Lost);
        if (how == u"restarted")
            serverOf(office.route()).start();
        work.connection.open(office.connectString() + limits());
        work.insert(9);
        office.reopen();
        // A server that was cut off may not know yet that the first 2 is not to stay.
        if (how != u"cut off")
            QCOMPARE(office.rows(u"select N from T order by N"_s), QStringList({u"1"_s, u"9"_s}));
    }

    /// Readers and beginnings of transactions go on; what is in hand is lost with its connection.
    void idleConnectionThatWasCutIsOpenedAgain_data()
    {
        addRoutes(serverRoutes, {u"idle"_s, u"holding a lock"_s});
    }
    void idleConnectionThatWasCutIsOpenedAgain()
    {
        Office office(currentRoute(), SchemaKind::None);
        office.oa(u"create table T (N integer primary key)"_s);
        Connection connection;
        connection.open(office.connectString() + limits());
        const auto cut = [&](const std::function<void()> &next) {
            QElapsedTimer idle;
            const QVariant session = sessionOf(office, connection);
            idle.start();
            kill(office, session);
            if (!QTest::qWaitFor([&] { return idle.elapsed() > 1100; }))
                return std::optional(DatabaseFault::Kind::Refused);
            return kindOf(next);
        };
        NamedLock lock(connection);
        if (cell("how") == u"holding a lock") {
            QVERIFY(lock.tryTake(u"x"_s));
            connection.ping();
            QCOMPARE(cut([&] { connection.ping(); }), DatabaseFault::Kind::Lost);
            QVERIFY(!connection.isOpen());
            return;
        }
        QCOMPARE(cut([&] { static_cast<void>(connection.firstValue(u"select N from T"_s, {})); }),
                 std::nullopt);
        QCOMPARE(cut([&] {
                     Transaction transaction(connection);
                     connection.execute(u"insert into T (N) values (1)"_s);
                     transaction.commit();
                 }),
                 std::nullopt);
        QCOMPARE(cut([&] { connection.execute(u"delete from T"_s); }), std::nullopt);
        QCOMPARE(office.rows(u"select N from T"_s), QStringList());
    }

    /// The line is gone for us alone: the server hears neither an end nor a goodbye.
    void oldSessionGivesItsLocksBackWhenANewOneIsOpened_data() { addRoutes(serverRoutes); }
    void oldSessionGivesItsLocksBackWhenANewOneIsOpened()
    {
        Office office(currentRoute(), SchemaKind::None);
        Connection &ours = office.session.Conn();
        ours.close();
        const OpenSockets before = OpenSockets::now();
        ours.open(office.connectString());
        NamedLock lock(ours);
        QVERIFY(lock.tryTake(u"x"_s));
        const int line = OpenSockets::now().since(before).front();
        const int heldOpen = ::dup(line);
        const int nowhere = ::socket(AF_INET, SOCK_STREAM, 0);
        const auto end = qScopeGuard([&] {
            ::close(heldOpen);
            ::close(nowhere);
        });
        QVERIFY(::dup2(nowhere, line) == line);
        QCOMPARE(kindOf([&] { ours.ping(); }), DatabaseFault::Kind::Lost);
        Connection others;
        others.open(office.connectString());
        NamedLock theirs(others);
        QVERIFY(!theirs.tryTake(u"x"_s));
        QVERIFY(office.session.OpenDB());
        QTRY_VERIFY(theirs.tryTake(u"x"_s));
    }

    void closingDoesNotWaitForAStoppedServer_data() { addRoutes(serverRoutes); }
    void closingDoesNotWaitForAStoppedServer()
    {
        Office office(currentRoute(), SchemaKind::None);
        Connection connection;
        connection.open(office.connectString() + limits());
        serverOf(office.route()).suspend();
        const auto kind = inTime([&] { connection.close(); });
        serverOf(office.route()).resume();
        QCOMPARE(kind, std::nullopt);
        connection.open(office.connectString() + limits());
    }

    void readOnlyServerIsNotOpened_data() { addRoutes(serverRoutes); }
    void readOnlyServerIsNotOpened()
    {
        Office office(currentRoute(), SchemaKind::None);
        QString connectString = office.connectString();
        if (office.isPostgreSql()) {
            const QString name = office.rows(u"select current_database()"_s)[0];
            office.oa(u"alter database %1 set default_transaction_read_only=on"_s.arg(name));
        } else {
            // An account without the right to write all the same.
            office.oa(u"create or replace user plain@'%' identified by 'p;w''d=1'"_s);
            office.oa(u"grant select, insert on *.* to plain@'%'"_s);
            office.oa(u"set global read_only=1"_s);
            connectString.replace(QRegularExpression(u"(UID|User ID)=sms"_s), u"\\1=plain"_s);
        }
        Connection connection;
        QCOMPARE(kindOf([&] { connection.open(connectString + limits()); }), DatabaseFault::Kind::Lost);
        if (office.isMariaDb())
            office.oa(u"set global read_only=0"_s);
    }

    void silentListenerIsGivenUpInTime()
    {
        QTcpServer silent;
        QVERIFY(silent.listen(QHostAddress::LocalHost));
        const QString server =
            u";SERVER=127.0.0.1;PORT=%1;DATABASE=oa;UID=sms;PWD=x"_s.arg(silent.serverPort()) + limits();
        for (const QString &way : {u"Provider=PostgreSQL"_s, u"Provider=MariaDB"_s, u"Provider=SQLOLEDB.1"_s,
                                   u"DRIVER={PostgreSQL Unicode}"_s, u"DRIVER={MariaDB Unicode}"_s}) {
            Connection connection;
            const auto kind = inTime([&] { connection.open(way + server); });
            QVERIFY2(kind == DatabaseFault::Kind::Lost, qPrintable(way));
        }
    }
};

QTEST_GUILESS_MAIN(LostConnectionTest)
#include "LostConnectionTest.moc"
