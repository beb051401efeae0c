#include "foundation/DatabaseTrial.h"
#include "tests/database/DatabaseWork.h"

using namespace Qt::StringLiterals;

/// What passes meet on a real server that no scenario can tell.
class PassesTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { qputenv("TZ", "Asia/Shanghai"); } // not the servers' zone

    void valueTooLongForItsColumnConcernsItsRowAlone_data()
    {
        addRows(uR"(
            what               | route                   | sql mode
            refused, pg        | PostgreSQL              |
            refused, pgo       | PostgreSQL through ODBC |
            refused, maria     | MariaDB                 | STRICT_TRANS_TABLES
            cut short, maria   | MariaDB                 |
            cut short, mariao  | MariaDB through ODBC    |
            )"_s);
    }
    void valueTooLongForItsColumnConcernsItsRowAlone()
    {
        Office office(currentRoute());
        office.oa(u"alter table SMS_ResultDetail %1 varchar(5)"_s.arg(
            office.isPostgreSql() ? u"alter column MsgContent type"_s : u"modify MsgContent"_s));
        if (office.isMariaDb()) {
            // Left out by the program, and without a default: what only a server that is not strict allows.
            if (cell("sql mode").isEmpty())
                office.oa(u"alter table SMS_ResultDetail add Remark varchar(9) not null"_s);
            office.oa(u"set global sql_mode='%1'"_s.arg(cell("sql mode")));
            QVERIFY(office.session.OpenDB());
        }
        office.add(u"SMS_Queues"_s, u"ToMB, MsgContent, MsgStatus"_s,
                   {u"1|短|8"_s, u"1|一二三四五六|8"_s, u"1|一二三四五|8"_s});
        office.passes().archive();
        QCOMPARE(office.table(u"SMS_ResultDetail"_s, u"MsgContent"_s),
                 QStringList({u"短"_s, u"一二三四五"_s}));
        QCOMPARE(office.table(u"SMS_Queues"_s, u"MsgContent"_s), QStringList(u"一二三四五六"_s));
        const QString log = office.console.takeLog().join(u'\n');
        QCOMPARE(log.count(u"无法处理"_s), 1);
        const QString statement = log.section(u" values "_s, 1);
        QVERIFY2(statement.contains(u"MsgContent"_s, Qt::CaseInsensitive), qPrintable(log));
    }

    void whatSomebodyHoldsCostsItselfAlone_data() { addRoutes(serverRoutes); }
    void whatSomebodyHoldsCostsItselfAlone()
    {
        Office office(currentRoute());
        Connection &connection = office.session.Conn();
        const auto count = [&](const QString &table) {
            return connection.firstValue("select count(*) from "_L1 + table, {})->toInt();
        };
        const auto give = [&](int messages) {
            for (int i = 0; i < messages; ++i) {
                connection.execute(u"insert into SMS_WaitToSend (ToSendDT, ToUserList) values (?, ?)"_s,
                                   {u"2006-03-05"_s, u"zhang"_s});
                connection.execute(u"insert into SMS_Queues (ToMB, MsgStatus) values ('1', '8')"_s);
            }
        };
        const auto tick = [&] {
            office.passes().archive();
            office.passes().expand();
            return QList<int>{count(u"SMS_ResultDetail"_s), count(u"SMS_SendList"_s)};
        };
        give(30);
        if (office.isMariaDb()) // which locks the next row too otherwise
            office.oa(u"set session transaction isolation level read committed"_s);
        office.oa(u"begin"_s);
        for (const auto *table : {"SMS_WaitToSend", "SMS_Queues"})
            office.oa(u"delete from %1 where OAID<=20"_s.arg(QLatin1String(table)));
        QCOMPARE(tick(), QList<int>({10, 10}));
        QCOMPARE(office.console.takeLog(), QStringList());
        QCOMPARE(tick(), QList<int>({10, 10}));
        const QStringList told = office.console.takeLog();
        QCOMPARE(told.filter(u"锁定的记录失败"_s).size(), 2);
        QCOMPARE(told.size(), 2);
        office.oa(u"rollback"_s);
        QTRY_COMPARE(tick(), QList<int>({30, 30}));
        static_cast<void>(tick());
        QCOMPARE(office.console.takeLog().filter(u"恢复正常"_s).size(), 2);
        // As an index build does, which lets readers in.
        office.oa(office.isPostgreSql() ? u"begin"_s : u"set autocommit=0"_s);
        office.oa((office.isPostgreSql() ? u"lock table %1 in share mode"_s : u"lock tables %1 read"_s)
                      .arg(u"SMS_ResultDetail"_s));
        give(1);
        QCOMPARE(tick(), QList<int>({30, 31}));
        office.oa(office.isPostgreSql() ? u"rollback"_s : u"unlock tables"_s);
        QTRY_COMPARE(tick(), QList<int>({31, 31}));
    }

    /// One that tells letter case apart. Names are found by ODBC's catalogue, and its calls begin and end what belongs
    /// together.
    void systemThatNobodyKnowsIsServed_data() { addRoutes(serverRoutes.last<2>()); } // through ODBC
    void systemThatNobodyKnowsIsServed()
    {
        Office office(currentRoute(), SchemaKind::PaddedTexts);
        office.session.Conn().open(office.connectString() + u";Dialect=Standard"_s);
        office.add(u"VO_UserInfor"_s, u"UserName, Mobile"_s, {u"zhang|13800000001"_s});
        office.add(u"SMS_WaitToSend"_s, u"ToSendDT, ToUserList, MsgContent"_s,
                   {u"2006-03-05 07:00:00|zhang;zhang|x"_s});
        office.passes().expand();
        QCOMPARE(office.table(u"SMS_Queues"_s, u"OAID, SOAID, ToMB, MsgStatus"_s),
                 QStringList({u"1|1|13800000001|0"_s, u"2|1|13800000001|0"_s}));
        office.oa(u"update SMS_Queues set MsgStatus='8' where OAID=1"_s);
        office.passes().archive();
        QCOMPARE(office.table(u"SMS_ResultDetail"_s, u"SOAID, ToMB, IsSuccess"_s),
                 QStringList(u"1|13800000001|1"_s));
        QCOMPARE(office.console.takeLog(), QStringList());
    }

    /// By --check and the start.
    void whatCannotWorkIsNamed_data()
    {
        addRows(uR"(
            what            | route                       | problem | change
            nothing, pg     | PostgreSQL                  |         | insert into SA_email (UserName) values ('zhang')
            nothing, maria  | MariaDB                     |         | insert into SA_email (UserName) values ('zhang')
            nothing, pgo    | PostgreSQL through ODBC     |         | insert into SA_email (UserName) values ('zhang')
            nothing, mariao | MariaDB through ODBC        |         | insert into SA_email (UserName) values ('zhang')
            nothing, lite   | SQLite                      |         | insert into SA_email (UserName) values ('zhang')
            nothing, other  | another system through ODBC |         | insert into SA_email (UserName) values ('zhang')
            no transactions | MariaDB    | SMS_Queues 没有事务 | alter table SMS_Queues engine=MyISAM
            latin1          | MariaDB    | SMS_SendList 的字符集存不下中文 | alter table SMS_SendList modify MsgContent text character set latin1
            no identity     | PostgreSQL | SMS_SendList 不能插入 | alter table SMS_SendList drop constraint sms_sendlist_pkey, alter column OAID drop identity, alter column OAID drop not null
            too narrow      | PostgreSQL | SMS_ResultDetail 不能插入 | alter table SMS_ResultDetail alter column MsgContent type varchar(1)
            no insert       | PostgreSQL | SMS_ResultDetail 不能插入 | revoke insert on SMS_ResultDetail from clerk
            no delete       | PostgreSQL through ODBC | SMS_Queues 不能删除 | revoke delete on SMS_Queues from clerk
            held            | PostgreSQL | SMS_IsOrder 目前未能试 | begin; lock table SMS_IsOrder in access exclusive mode
            no update       | PostgreSQL | SMS_IsOrder 不能修改 | revoke update on SMS_IsOrder from clerk
            )"_s);
    }
    void whatCannotWorkIsNamed()
    {
        const QString problem = cell("problem");
        Office office(currentRoute());
        if (office.isPostgreSql()) {
            office.oa(u"do $$begin if not exists (select from pg_roles where rolname='clerk') then"
                      " create role clerk login password '%1'; end if; end$$"_s.arg(
                          PrivateDatabaseServer::password().replace(u'\'', "''"_L1)));
            office.oa(u"grant all on all tables in schema public to clerk"_s);
        }
        office.oa(cell("change"));
        if (office.isPostgreSql())
            office.session.Conn().open(office.connectString().replace("ID=sms"_L1, "ID=clerk"_L1));
        auto problems = triedWithoutRows(office.session.Conn());
        if (problems.isEmpty())
            problems = triedWithRows(office.session.Conn());
        const QString told = problems.isEmpty() ? QString() : problems[0].what;
        QVERIFY2(told.contains(problem), qPrintable(told));
        QCOMPARE(problems.size(), problem.isEmpty() ? 0 : 1);
        for (const QString &table : {u"SMS_SendList"_s, u"SMS_Queues"_s, u"SMS_SIMReceive"_s, u"VO_Email"_s})
            QCOMPARE(office.rows(u"select count(*) from "_s + table), QStringList(u"0"_s));
    }
};

QTEST_GUILESS_MAIN(PassesTest)
#include "PassesTest.moc"
