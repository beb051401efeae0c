#include "database/Transaction.h"
#include "database/Savepoint.h"
#include "tests/database/DatabaseWork.h"

#include <future>
#include <thread>

using namespace Qt::StringLiterals;

class TransactionTest : public QObject
{
    Q_OBJECT

private slots:
    /// A deadlock's victim is rolled back by the server. Nothing of what follows may run on its own.
    void nothingRunsOnAfterAFault_data() { addRoutes(); }
    void nothingRunsOnAfterAFault()
    {
        Office office(currentRoute(), SchemaKind::None);
        Connection &connection = office.session.Conn();
        office.oa(u"create table T (N integer primary key, V integer)"_s);
        office.oa(u"insert into T (N, V) values (1, 0), (2, 0)"_s);
        {
            Transaction transaction(connection);
            connection.execute(u"update T set V=1 where N=1"_s);
            // A lookup that answers "" on failure absorbs it.
            QVERIFY(kindOf([&] {
                static_cast<void>(connection.firstValue(u"select Nothing from T where N=?"_s, {1}));
            }));
            const auto fault = faultOf([&] { connection.execute(u"delete from T where N=2"_s); });
            QVERIFY2(fault && fault->message().contains(u"Nothing"_s), "the first fault is told again");
            QVERIFY(kindOf([&] { Savepoint step(connection); }));
            QVERIFY(kindOf([&] { transaction.commit(); }));
        }
        QCOMPARE(office.rows(u"select N, V from T order by N"_s), QStringList({u"1|0"_s, u"2|0"_s}));
        // A count of rows found, not only of those that were given another value.
        QCOMPARE(connection.execute(u"update T set V=0"_s), 2);
        QCOMPARE(connection.execute(u"update T set V=0 where N=3"_s), 0);
    }

    void stepThatFailsCostsOnlyItself_data() { addRoutes(); }
    void stepThatFailsCostsOnlyItself()
    {
        Office office(currentRoute(), SchemaKind::None);
        Connection &connection = office.session.Conn();
        office.oa(u"create table T (N integer primary key)"_s);
        const auto insert = [&](int n) { connection.execute(u"insert into T (N) values (?)"_s, {n}); };
        {
            Transaction transaction(connection);
            insert(1);
            {
                Savepoint step(connection);
                insert(2);
                QCOMPARE(kindOf([&] { insert(1); }), DatabaseFault::Kind::Refused);
                QCOMPARE(kindOf([&] { step.release(); }), DatabaseFault::Kind::Refused);
            }
            {
                Savepoint outer(connection);
                insert(3);
                {
                    const Savepoint inner(connection);
                    insert(4);
                }
                outer.release();
            }
            Transaction within(connection);
            within.commit();
            transaction.commit();
        }
        {
            const Transaction forgotten(connection);
            insert(5);
        }
        {
            // A transaction within that is not committed forbids the commit, as a fault outside a step does.
            Transaction outer(connection);
            {
                const Transaction inner(connection);
                insert(6);
            }
            QVERIFY(kindOf([&] { outer.commit(); }));
        }
        insert(7);
        QCOMPARE(office.rows(u"select N from T order by N"_s), QStringList({u"1"_s, u"3"_s, u"7"_s}));
    }

    void deadlockVictimWritesNothing()
    {
        Office office(DatabaseRoute::MariaDb, SchemaKind::None, u";Command Timeout=5"_s);
        Connection &connection = office.session.Conn();
        office.oa(u"create table T (N integer primary key, V integer) engine=InnoDB"_s);
        office.oa(u"insert into T (N, V) values (1, 0), (2, 0), (3, 0)"_s);
        Transaction ours(connection);
        connection.execute(u"update T set V=1 where N=1"_s);
        std::promise<void> ready;
        std::thread other([&] {
            Connection rival;
            rival.open(office.connectString());
            const Transaction theirs(rival);
            rival.execute(u"update T set V=2 where N in (2, 3)"_s);
            ready.set_value();
            rival.execute(u"update T set V=2 where N=1"_s);
        });
        ready.get_future().wait();
        // The victim is the one that has written less.
        const auto victim = kindOf([&] { connection.execute(u"update T set V=1 where N=2"_s); });
        other.join();
        QCOMPARE(victim, DatabaseFault::Kind::Locked);
        QCOMPARE(kindOf([&] { connection.execute(u"delete from T"_s); }), DatabaseFault::Kind::Locked);
        QCOMPARE(kindOf([&] { ours.commit(); }), DatabaseFault::Kind::Locked);
        QCOMPARE(office.rows(u"select N, V from T order by N"_s),
                 QStringList({u"1|0"_s, u"2|0"_s, u"3|0"_s}));
    }

    /// Neither none nor that of an earlier row is ever taken for the identity of this one, nor is a row that has
    /// gone taken for a changed one.
    void whatCannotBeToldIsAFault_data() { addRoutes(); }
    void whatCannotBeToldIsAFault()
    {
        Office office(currentRoute());
        append(office, u"SMS_IsOrder"_s, {{"UserName"_L1, u"zhang"_s}});
        office.oa(u"create table Unnumbered (OAID integer, Note varchar(9))"_s);
        Recordset rows(office.session.Conn());
        rows.openForAppend(u"Unnumbered"_s, u"OAID"_s);
        rows.addNew();
        rows.set("Note"_L1, u"x"_s);
        QCOMPARE(kindOf([&] { rows.update(); }), DatabaseFault::Kind::Refused);
        rows.openForUpdate(u"SMS_IsOrder"_s, u"UserName=?"_s, {u"zhang"_s});
        office.oa(u"delete from SMS_IsOrder"_s);
        rows.set("IsOrder"_L1, u"0"_s);
        QCOMPARE(kindOf([&] { rows.update(); }), DatabaseFault::Kind::Locked);
    }

    void lockedRowIsWaitedForASecond_data() { addRoutes(serverRoutes); }
    void lockedRowIsWaitedForASecond()
    {
        Office office(currentRoute(), SchemaKind::None);
        office.oa(u"create table T (N integer primary key)"_s);
        office.oa(u"insert into T (N) values (1)"_s);
        office.oa(u"begin"_s);
        office.oa(u"update T set N=2"_s);
        QCOMPARE(kindOf([&] { office.session.Conn().execute(u"update T set N=3"_s); }),
                 DatabaseFault::Kind::Locked);
        QVERIFY(office.session.Conn().isOpen());
        office.oa(u"rollback"_s);
        QCOMPARE(office.session.Conn().execute(u"update T set N=3"_s), 1);
    }
};

QTEST_GUILESS_MAIN(TransactionTest)
#include "TransactionTest.moc"
