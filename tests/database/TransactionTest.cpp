#include "database/Transaction.h"
#include "database/Savepoint.h"
#include "tests/database/DatabaseWork.h"

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

    /// As the server tells it: each kind of trouble has its own remedy.
    void codeTellsTheKindOfTrouble_data() { addRoutes(serverRoutes); }
    void codeTellsTheKindOfTrouble()
    {
        using Kind = DatabaseFault::Kind;
        Office office(currentRoute(), SchemaKind::None);
        const QList<std::pair<Kind, QString>> kinds{
            {Kind::Lost, office.isPostgreSql() ? u"57P01 57P02 57P03 25006"_s : u"1053 1927 4031 1290"_s},
            {Kind::Locked, office.isPostgreSql() ? u"55P03 40001 40P01 57014"_s : u"1205 1213 1969"_s},
            {Kind::Unavailable,
             office.isPostgreSql() ? u"53100 53300 58030"_s : u"1021 1040 1047 1226 1461"_s},
            {Kind::Refused, office.isPostgreSql() ? u"22001 23505 42501"_s : u"1048 1062 1142 1406"_s}};
        const QString trouble = office.isPostgreSql()
                                    ? u"do $$begin raise exception using errcode='%1'; end$$"_s
                                    : u"signal sqlstate '45000' set mysql_errno=%1, message_text='x'"_s;
        for (const auto &[kind, codes] : kinds) {
            for (const QString &code : codes.split(u' ')) {
                const auto told = kindOf([&] { office.session.Conn().execute(trouble.arg(code)); });
                QVERIFY2(told == kind, qPrintable(code));
                QCOMPARE(office.session.Conn().isOpen(), kind != Kind::Lost);
                QVERIFY(office.session.OpenDB());
            }
        }
    }

    /// By servers that are made to say it.
    void serverInTroubleSaysSo_data()
    {
        addRows(uR"(
            what                  | route                   | kind        | told  | trouble
            session ended         | PostgreSQL              | Lost        | terminating connection due to administrator command | select pg_terminate_backend(pid) from pg_stat_activity where usename='guest'
            shutting down         | PostgreSQL              | Lost        | the database system is shutting down | copy (select 1) to program 'kill -TERM $(ps -o ppid= -p $PPID)'
            requests spent        | MariaDB                 | Unavailable | 1226  | flush user_resources
            requests spent, odbc  | MariaDB through ODBC    | Unavailable | 1226  | flush user_resources
            statements full       | MariaDB                 | Unavailable | 1461  | set global max_prepared_stmt_count=0
            statements full, odbc | MariaDB through ODBC    | Unavailable | 1461  | set global max_prepared_stmt_count=0
            )"_s);
    }
    void serverInTroubleSaysSo()
    {
        Office office(currentRoute());
        const bool shutsDown = cell("trouble").startsWith(u"copy"_s);
        const QString password = PrivateDatabaseServer::password().replace(u'\'', u"''"_s);
        for (const QString &statement :
             office.isPostgreSql()
                 ? QStringList{u"drop role if exists guest"_s,
                               u"create role guest superuser login password '%1'"_s.arg(password)}
                 : QStringList{u"create or replace user guest@'%' identified by '%1'"
                               " with max_queries_per_hour 100"_s.arg(password),
                               u"grant all on *.* to guest@'%'"_s})
            office.oa(statement);
        const QString guest = office.connectString().replace(u"ID=sms"_s, u"ID=guest"_s);
        Connection connection;
        connection.open(guest);
        std::optional<Transaction> transaction(connection);
        office.oa(cell("trouble"));
        if (office.isPostgreSql() && !shutsDown)
            QTRY_COMPARE(office.rows(u"select pid from pg_stat_activity where usename='guest'"_s),
                         QStringList());
        std::optional<DatabaseFault> fault;
        for (int tries = 0; tries < 200 && !fault; ++tries)
            fault = faultOf([&] {
                if (!transaction)
                    transaction.emplace(connection);
                connection.execute(u"delete from SMS_Queues where OAID=?"_s, {1});
                if (shutsDown)
                    Connection().open(guest);
                transaction->commit();
                transaction.reset();
            });
        transaction.reset();
        connection.close();
        if (shutsDown) {
            serverOf(office.route()).stop();
            serverOf(office.route()).start();
        } else if (office.isMariaDb()) {
            office.oa(u"set global max_prepared_stmt_count=default"_s);
        }
        QVERIFY(fault);
        QVERIFY2(fault->message().contains(cell("told")), qPrintable(fault->message()));
        QCOMPARE(fault->kind(),
                 cell("kind") == u"Lost" ? DatabaseFault::Kind::Lost : DatabaseFault::Kind::Unavailable);
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
};

QTEST_GUILESS_MAIN(TransactionTest)
#include "TransactionTest.moc"
