#include "database/NamedLock.h"
#include "tests/database/DatabaseWork.h"

using namespace Qt::StringLiterals;

/// Locks between sessions, on every server and way to it.
class NamedLockTest : public QObject
{
    Q_OBJECT

private:
    struct Session {
        explicit Session(const Office &office) { connection.open(office.connectString()); }

        Connection connection;
        NamedLock lock{connection};
    };
    /// Whether the row's status is 0, read while the lock is taken. -1: the lock is another's, or no such row.
    static int takeReading(NamedLock &lock, const QString &name, int row)
    {
        const auto reading = lock.tryTakeReading(
            name, {u"case when MsgStatus='0' then 1 else 0 end"_s, u"SMS_Queues"_s, u"OAID=?"_s, {row}});
        return reading && reading->isHeld && !reading->value.isNull() ? reading->value.toInt() : -1;
    }

private slots:
    void oneSessionHoldsIt_data() { addRoutes(serverRoutes); }
    void oneSessionHoldsIt()
    {
        const Office office(currentRoute(), SchemaKind::None);
        Session first(office);
        QCOMPARE(NamedLock::whyUnsupported(first.connection), QString());
        const QString longName(300, u'长');
        {
            Session second(office);
            QVERIFY(first.lock.tryTake(longName));
            QVERIFY(!second.lock.tryTake(longName));
            QVERIFY(second.lock.tryTake(u"13800000001"_s));
            QVERIFY(first.lock.tryTake(u"another"_s)); // lets the long one go
            QVERIFY(second.lock.tryTake(longName));
            QVERIFY(second.lock.tryTake(longName)); // once more, and let go once
            second.lock.release();
            QVERIFY(first.lock.tryTake(longName));
            first.lock.release();
            QVERIFY(second.lock.tryTake(longName));
            second.connection.close();
        }
        QTRY_VERIFY(first.lock.tryTake(longName));
        // Another database has locks of its own.
        const Office elsewhere(currentRoute(), SchemaKind::None);
        QVERIFY(Session(elsewhere).lock.tryTake(longName));
    }

    void servesAloneOrBesideOthers_data() { addRoutes(serverRoutes); }
    void servesAloneOrBesideOthers()
    {
        const Office office(currentRoute(), SchemaKind::None);
        for (const bool isFirstShared : {false, true}) {
            for (const bool isShared : {false, true}) {
                Session first(office);
                Session second(office);
                QVERIFY(first.connection.takePlace(isFirstShared));
                QVERIFY(first.lock.tryTake(u"13800000001"_s));
                first.lock.release(); // and nothing else
                QCOMPARE(second.connection.takePlace(isShared), isFirstShared && isShared);
                QVERIFY(first.connection.takePlace(isFirstShared));
                first.connection.close(); // leaves it at once
                QVERIFY(second.connection.takePlace(isShared));
            }
        }
    }

    void readsWhatTheHolderWrote_data() { addRoutes(serverRoutes); }
    void readsWhatTheHolderWrote()
    {
        Office office(currentRoute());
        office.add(u"SMS_Queues"_s, u"SOAID, ToMB, MsgContent, MsgStatus"_s, {u"-1|1|x|0"_s, u"-1|1|x|0"_s});
        Session first(office);
        Session second(office);
        QCOMPARE(takeReading(first.lock, u"1"_s, 1), 1);
        QCOMPARE(takeReading(second.lock, u"1"_s, 1), -1);
        // The row itself is nobody's.
        office.oa(u"update SMS_Queues set RetryCount=1 where OAID=1"_s);
        first.connection.execute(u"update SMS_Queues set MsgStatus=8 where OAID=?"_s, {1});
        first.lock.release();
        const qint64 before = first.connection.statementsRun();
        QCOMPARE(takeReading(first.lock, u"2"_s, 2), 1);
        QCOMPARE(first.connection.statementsRun() - before, 1);
        QCOMPARE(NamedLock::whyUnsupported(office.connectString()), QString());
        QCOMPARE(takeReading(second.lock, u"1"_s, 1), 0);
        QCOMPARE(takeReading(second.lock, u"3"_s, 3), -1);
        second.lock.release();
        QVERIFY(first.lock.tryTake(u"3"_s));
    }
};

QTEST_GUILESS_MAIN(NamedLockTest)
#include "NamedLockTest.moc"
