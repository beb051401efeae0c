#include "tests/database/DatabaseWork.h"

#include <QRegularExpression>
#include <QScopeGuard>
#include <QTest>

using namespace Qt::StringLiterals;

/// What passes meet on a real server that no scenario can tell.
class PassesTest : public QObject
{
    Q_OBJECT

private slots:
    void valueTooLongForItsColumnConcernsItsRowAlone_data()
    {
        QTest::addColumn<DatabaseRoute>("route");
        QTest::addColumn<bool>("strict");
        QTest::newRow("PostgreSQL") << DatabaseRoute::PostgreSql << true;
        QTest::newRow("MariaDB") << DatabaseRoute::MariaDb << true;
        QTest::newRow("MariaDB, not strict") << DatabaseRoute::MariaDb << false;
        QTest::newRow("PostgreSQL through ODBC") << DatabaseRoute::PostgreSqlOdbc << true;
        QTest::newRow("MariaDB through ODBC") << DatabaseRoute::MariaDbOdbc << true;
        QTest::newRow("MariaDB through ODBC, not strict") << DatabaseRoute::MariaDbOdbc << false;
    }
    void valueTooLongForItsColumnConcernsItsRowAlone()
    {
        QFETCH(DatabaseRoute, route);
        QFETCH(bool, strict);
        Office office(route);
        const QStringList narrow{u"SMS_SendList.ToNameList"_s, u"SMS_ResultDetail.MsgContent"_s,
                                 u"SMS_SIMReceive.MsgContent"_s};
        for (const QString &place : narrow)
            office.oa(u"alter table %1 %2"_s.arg(
                place.section(u'.', 0, 0),
                (office.isPostgreSql() ? u"alter column %1 type varchar(5)"_s : u"modify %1 varchar(5)"_s)
                    .arg(place.section(u'.', 1))));
        if (office.isMariaDb()) {
            // Left out by the program, and without a default: what only a server that is not strict allows.
            if (!strict)
                office.oa(u"alter table SMS_SIMReceive add Remark varchar(9) not null"_s);
            office.oa(u"set global sql_mode='%1'"_s.arg(strict ? u"STRICT_TRANS_TABLES"_s : QString()));
            QVERIFY(office.session.OpenDB());
        }
        office.addRow(u"VO_UserInfor"_s, u"UserName, Mobile"_s, {u"zhang"_s, u"13800000001"_s});
        for (const QString &names : {u"张"_s, u"张;李;王;赵"_s, u"李"_s})
            office.addRow(u"SMS_WaitToSend"_s, u"ToSendDT, ToUserList, ToNameList, MsgContent"_s,
                          {u"2006-03-05"_s, u"zhang"_s, names, u"x"_s});
        for (const QString &text : {u"短"_s, u"一二三四五六"_s, u"一二三四五"_s})
            office.addRow(u"SMS_Queues"_s, u"ToMB, MsgContent, MsgStatus"_s, {u"1"_s, text, 8});
        office.passes().expand();
        office.passes().archive();
        for (const QString &text : {u"before"_s, u"一二三"_s, u"一二三四五"_s})
            office.simulator().command(u"deliver 13900000001 "_s + text);
        QTRY_VERIFY(office.simulator().command(u"status"_s).contains(u"SM=1/"_s));
        QCOMPARE(office.table(u"SMS_WaitToSend"_s, u"ToNameList"_s), QStringList(u"张;李;王;赵"_s));
        QCOMPARE(office.table(u"SMS_SendList"_s, u"ToNameList"_s), QStringList({u"张"_s, u"李"_s}));
        QCOMPARE(office.table(u"SMS_ResultDetail"_s, u"MsgContent"_s),
                 QStringList({u"短"_s, u"一二三四五"_s}));
        QCOMPARE(office.table(u"SMS_Queues"_s, u"MsgContent"_s),
                 QStringList({u"一二三四五六"_s, u"x"_s, u"x"_s}));
        QCOMPARE(office.table(u"SMS_SIMReceive"_s, u"MsgContent"_s),
                 QStringList({u"一二三"_s, u"一二三四五"_s}));
        const QStringList log = office.console.takeLog();
        for (const QString &place : narrow) {
            const QString table = place.section(u'.', 0, 0);
            const QStringList lines = log.filter(
                QRegularExpression(u"into .?"_s + table, QRegularExpression::CaseInsensitiveOption));
            QVERIFY2(lines.size() == 1, qPrintable(log.join(u'\n')));
            QVERIFY2(lines[0].section(u" values "_s, 1).contains(place.section(u'.', 1), Qt::CaseInsensitive),
                     qPrintable(lines[0]));
        }
        QCOMPARE(log.filter(u"无法处理"_s).size(), 3);
    }

    void messageStoredJustBeforeALossIsNotStoredAgain()
    {
        Office office(DatabaseRoute::PostgreSql);
        office.oa(u"create function hang_up() returns trigger language plpgsql as"
                  " 'begin perform pg_terminate_backend(pg_backend_pid()); return new; end'"_s);
        office.oa(u"create trigger hang_up before insert on SMS_SIMReceive"
                  " for each row execute function hang_up()"_s);
        InboundMessageHandler handler(office.session, office.console, office.faults, office.guard,
                                      office.modem());
        const ReceivedMessage message{u"10086"_s, u"It's 会议"_s, u"2006-03-05 06:00:00"_s};
        QCOMPARE(handler.handle(0, message), MessageFate::Wait);
        office.oa(u"drop trigger hang_up on SMS_SIMReceive"_s);
        // As the server would have it, had it been lost between the commit and its answer.
        office.addRow(u"SMS_SIMReceive"_s, u"FromMB, JieSHouDT, MsgContent"_s,
                      {message.sender, message.receiveTime, message.text});
        QVERIFY(QTest::qWaitFor([&] { return handler.handle(0, message) == MessageFate::Handled; }));
        QCOMPARE(office.table(u"SMS_SIMReceive"_s, u"FromMB"_s).size(), 1);
        // From then on the same text in the same second is another message.
        QCOMPARE(handler.handle(0, message), MessageFate::Handled);
        QCOMPARE(office.table(u"SMS_SIMReceive"_s, u"FromMB"_s).size(), 2);
        QCOMPARE(office.console.takeLog().size(), 4); // lost, back, two messages
    }

    void sharingTheQueueCostsOneStatementAMessage_data() { addRoutes(serverRoutes); }
    void sharingTheQueueCostsOneStatementAMessage()
    {
        QFETCH(DatabaseRoute, route);
        Office office(route);
        QVERIFY(office.simulator().sent().isEmpty()); // plugged in
        const auto statementsOfAPass = [&] {
            for (int number = 1; number <= 5; ++number)
                office.addRow(u"SMS_Queues"_s, u"ToMB, MsgContent, MsgStatus"_s, {number, u"x"_s, 0});
            const qint64 before = office.session.Conn().statementsRun();
            office.passes().send();
            return office.session.Conn().statementsRun() - before;
        };
        const qint64 alone = statementsOfAPass();
        office.set(u"Servers"_s, u"several"_s);
        QCOMPARE(statementsOfAPass(), alone + 5 + 1); // and the last number let go
        QCOMPARE(office.simulator().sent().size(), 10);
    }

    void stoppedServerBlocksNoTickForLonger_data() { addRoutes(serverRoutes); }
    void stoppedServerBlocksNoTickForLonger()
    {
        QFETCH(DatabaseRoute, route);
        Office office(route, SchemaKind::Sample, u";Connect Timeout=2;Command Timeout=2"_s);
        QVERIFY(office.simulator().sent().isEmpty()); // plugged in
        const auto tick = [&] {
            QElapsedTimer timer;
            timer.start();
            office.passes().send();
            office.passes().archive();
            office.passes().expand();
            office.passes().alert();
            return timer.elapsed();
        };
        tick();
        office.addRow(u"SMS_Queues"_s, u"ToMB, MsgContent, MsgStatus"_s, {u"1001"_s, u"x"_s, 0});
        QList<qint64> ticks;
        {
            serverOf(route).suspend();
            const auto goOn = qScopeGuard([&] { serverOf(route).resume(); });
            // The first finds the server silent, a later one tries to connect again.
            for (int i = 0; i < 2; ++i)
                QVERIFY(QTest::qWaitFor([&] { return ticks.emplaceBack(tick()) > 100; }));
        }
        // The statement's limit and the two seconds the server has to keep it; then that of connecting.
        // Three seconds for a busy machine.
        for (const qint64 milliseconds : qAsConst(ticks))
            QVERIFY2(milliseconds < 7000, qPrintable(QString::number(milliseconds)));
        QTRY_COMPARE((tick(), office.table(u"SMS_ResultDetail"_s, u"ToMB"_s)), QStringList(u"1001"_s));
        QCOMPARE(office.simulator().sent().size(), 1);
        const QStringList log = office.console.takeLog();
        QVERIFY2(log.size() == 2 && log[0].startsWith(u"数据库连接失败"_s) && log[1] == u"数据库连接恢复正常",
                 qPrintable(log.join(u'\n')));
    }
};

int main(int argc, char **argv)
{
    // Not the servers' zone.
    qputenv("TZ", "Asia/Shanghai");
    QCoreApplication application(argc, argv);
    PassesTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "PassesTest.moc"
