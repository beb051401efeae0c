#include "foundation/DatabaseTrial.h"
#include "tests/database/DatabaseWork.h"

using namespace Qt::StringLiterals;

/// What --check and the start find out about a database.
class TrialTest : public QObject
{
    Q_OBJECT

private slots:
    void whatCannotWorkIsNamed_data()
    {
        QTest::addColumn<DatabaseRoute>("route");
        QTest::addColumn<QString>("change");
        QTest::addColumn<QString>("problem");
        for (const auto &[name, route] : databaseRoutes)
            QTest::addRow("nothing, %s", name)
                << route << u"insert into SA_email (UserName) values ('zhang')"_s << QString();
        QTest::newRow("no transactions")
            << DatabaseRoute::MariaDb << u"alter table SMS_Queues engine=MyISAM"_s
            << u"数据表 SMS_Queues 没有事务"_s;
        QTest::newRow("latin1") << DatabaseRoute::MariaDb
                                << u"alter table SMS_SendList modify MsgContent text character set latin1"_s
                                << u"数据表 SMS_SendList 的字符集存不下中文"_s;
        QTest::newRow("no identity") << DatabaseRoute::PostgreSql
                                     << u"alter table SMS_SendList drop constraint sms_sendlist_pkey,"
                                        " alter column OAID drop identity, alter column OAID drop not null"_s
                                     << u"数据表 SMS_SendList 不能插入"_s;
        QTest::newRow("no column of its kind")
            << DatabaseRoute::PostgreSql
            << u"alter table SMS_ResultDetail alter column MsgContent type varchar(1)"_s
            << u"数据表 SMS_ResultDetail 不能插入"_s;
        QTest::newRow("no right to insert")
            << DatabaseRoute::PostgreSql << u"revoke insert on SMS_ResultDetail from clerk"_s
            << u"数据表 SMS_ResultDetail 不能插入"_s;
        QTest::newRow("no right to delete, ODBC")
            << DatabaseRoute::PostgreSqlOdbc << u"revoke delete on SMS_Queues from clerk"_s
            << u"数据表 SMS_Queues 不能删除"_s;
        QTest::newRow("no right to update")
            << DatabaseRoute::PostgreSql << u"revoke update on SMS_IsOrder from clerk"_s
            << u"数据表 SMS_IsOrder 不能修改"_s;
    }
    void whatCannotWorkIsNamed()
    {
        QFETCH(QString, change);
        QFETCH(QString, problem);
        Office office(currentRoute());
        if (office.isPostgreSql()) {
            office.oa(u"do $$begin if not exists (select from pg_roles where rolname='clerk') then"
                      " create role clerk login password '%1'; end if; end$$"_s.arg(
                          PrivateDatabaseServer::password().replace(u'\'', "''"_L1)));
            office.oa(u"grant all on all tables in schema public to clerk"_s);
        }
        office.oa(change);
        if (office.isPostgreSql())
            office.session.Conn().open(office.connectString().replace("ID=sms"_L1, "ID=clerk"_L1));
        auto problems = triedWithoutRows(office.session.Conn());
        if (problems.isEmpty())
            problems = triedWithRows(office.session.Conn());
        const QString told = problems.isEmpty() ? QString() : problems[0].what;
        QVERIFY2(told.startsWith(problem), qPrintable(told));
        QCOMPARE(problems.size(), problem.isEmpty() ? 0 : 1);
        for (const QString &table : {u"SMS_SendList"_s, u"SMS_Queues"_s, u"SMS_SIMReceive"_s, u"VO_Email"_s})
            QCOMPARE(office.rows(u"select count(*) from "_s + table), QStringList(u"0"_s));
    }
};

QTEST_GUILESS_MAIN(TrialTest)
#include "TrialTest.moc"
