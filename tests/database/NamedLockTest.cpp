#include "database/NamedLock.h"
#include "tests/database/DatabaseWork.h"

#include <QTest>
#include <memory>

using namespace Qt::StringLiterals;

/// Locks between sessions, on every server and way to it.
class NamedLockTest : public QObject
{
    Q_OBJECT

    static LockedReading statusOf(int id)
    {
        return {u"case when MsgStatus='0' then 1 else 0 end"_s, u"SMS_Queues"_s, u"OAID=?"_s, {id}};
    }

private slots:
    void oneSessionHoldsIt_data() { addRoutes(serverRoutes); }
    void oneSessionHoldsIt()
    {
        QFETCH(DatabaseRoute, route);
        Office database(route);
        Connection one;
        one.open(database.connectString());
        const auto two = std::make_unique<Connection>();
        two->open(database.connectString());
        QVERIFY(NamedLock::isSupported(one));
        const QString longName(300, u'长');
        {
            NamedLock first(one);
            NamedLock second(*two);
            QVERIFY(first.tryTake(longName));
            QVERIFY(!second.tryTake(longName));
            QVERIFY(second.tryTake(u"13800000001"_s));
            QVERIFY(first.tryTake(u"another"_s)); // lets the long one go
            QVERIFY(second.tryTake(longName));
            QVERIFY(second.tryTake(longName)); // once more, and let go once
        }
        NamedLock first(one);
        QVERIFY(first.tryTake(longName));
        first.release();
        {
            NamedLock lost(*two);
            QVERIFY(lost.tryTake(longName));
            two->close();
        }
        QTRY_VERIFY(first.tryTake(longName));
    }

    void anotherDatabaseHasItsOwn_data() { addRoutes(serverRoutes); }
    void anotherDatabaseHasItsOwn()
    {
        QFETCH(DatabaseRoute, route);
        Office here(route);
        Office there(route);
        Connection one;
        one.open(here.connectString());
        Connection two;
        two.open(there.connectString());
        NamedLock first(one);
        NamedLock second(two);
        QVERIFY(first.tryTake(u"x"_s));
        QVERIFY(second.tryTake(u"x"_s));
    }

    void readsWhatTheHolderWrote_data() { addRoutes(serverRoutes); }
    void readsWhatTheHolderWrote()
    {
        QFETCH(DatabaseRoute, route);
        Office database(route);
        for (int i = 0; i < 2; ++i)
            database.oa(
                u"insert into SMS_Queues (SOAID, ToMB, MsgContent, MsgStatus) values (-1, '1', 'x', '0')"_s);
        Connection one;
        one.open(database.connectString());
        Connection two;
        two.open(database.connectString());
        NamedLock first(one);
        NamedLock second(two);
        const auto held = first.tryTakeReading(u"1"_s, statusOf(1));
        QVERIFY(held && held->isHeld);
        QCOMPARE(held->value.toInt(), 1);
        const auto refused = second.tryTakeReading(u"1"_s, statusOf(1));
        QVERIFY(refused && !refused->isHeld);
        // The row itself is nobody's.
        database.oa(u"update SMS_Queues set RetryCount=1 where OAID=1"_s);
        one.execute(u"update SMS_Queues set MsgStatus=8 where OAID=?"_s, {1});
        const qint64 before = one.statementsRun();
        const auto next = first.tryTakeReading(u"2"_s, statusOf(2));
        QCOMPARE(one.statementsRun() - before, 1);
        QVERIFY(next && next->isHeld);
        const auto after = second.tryTakeReading(u"1"_s, statusOf(1));
        QVERIFY(after && after->isHeld);
        QCOMPARE(after->value.toInt(), 0);
        QVERIFY(!second.tryTakeReading(u"3"_s, statusOf(3)));
    }

    void embeddedDatabaseHasNone()
    {
        Office database;
        Connection connection;
        connection.open(database.connectString());
        QVERIFY(!NamedLock::isSupported(connection));
        NamedLock lock(connection);
        QVERIFY_EXCEPTION_THROWN(static_cast<void>(lock.tryTake(u"x"_s)), DatabaseFault);
    }
};

QTEST_GUILESS_MAIN(NamedLockTest)
#include "NamedLockTest.moc"
