#include "tests/database/DatabaseWork.h"

#include <QRegularExpression>
#include <QScopeGuard>

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
        QTest::newRow("PostgreSQL through ODBC") << DatabaseRoute::PostgreSqlOdbc << true;
        QTest::newRow("MariaDB") << DatabaseRoute::MariaDb << true;
        QTest::newRow("MariaDB, not strict") << DatabaseRoute::MariaDb << false;
        QTest::newRow("MariaDB through ODBC, not strict") << DatabaseRoute::MariaDbOdbc << false;
    }
    void valueTooLongForItsColumnConcernsItsRowAlone()
    {
        QFETCH(bool, strict);
        Office office(currentRoute());
        const QStringList narrow{u"SMS_SendList.ToNameList"_s, u"SMS_ResultDetail.MsgContent"_s,
                                 u"SMS_SIMReceive.MsgContent"_s};
        for (const QString &place : narrow)
            office.oa(u"alter table %1 %2 varchar(5)"_s.arg(
                place.section(u'.', 0, 0),
                (office.isPostgreSql() ? u"alter column %1 type"_s : u"modify %1"_s)
                    .arg(place.section(u'.', 1))));
        if (office.isMariaDb()) {
            // Left out by the program, and without a default: what only a server that is not strict allows.
            if (!strict)
                office.oa(u"alter table SMS_SIMReceive add Remark varchar(9) not null"_s);
            office.oa(u"set global sql_mode='%1'"_s.arg(strict ? u"STRICT_TRANS_TABLES"_s : QString()));
            QVERIFY(office.session.OpenDB());
        }
        office.add(u"VO_UserInfor"_s, u"UserName, Mobile"_s, {u"zhang|13800000001"_s});
        office.add(
            u"SMS_WaitToSend"_s, u"ToSendDT, ToUserList, ToNameList, MsgContent"_s,
            {u"2006-03-05|zhang|张|x"_s, u"2006-03-05|zhang|张;李;王;赵|x"_s, u"2006-03-05|zhang|李|x"_s});
        office.add(u"SMS_Queues"_s, u"ToMB, MsgContent, MsgStatus"_s,
                   {u"1|短|8"_s, u"1|一二三四五六|8"_s, u"1|一二三四五|8"_s});
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
        QCOMPARE(log.filter(u"无法处理"_s).size(), 3);
        for (const QString &place : narrow) {
            const QString table = place.section(u'.', 0, 0);
            const QStringList lines = log.filter(
                QRegularExpression(u"into .?"_s + table, QRegularExpression::CaseInsensitiveOption));
            QVERIFY2(lines.size() == 1, qPrintable(log.join(u'\n')));
            QVERIFY2(lines[0].section(u" values "_s, 1).contains(place.section(u'.', 1), Qt::CaseInsensitive),
                     qPrintable(lines[0]));
        }
    }

    void stoppedServerBlocksNoTickForLonger()
    {
        Office office(DatabaseRoute::PostgreSql, SchemaKind::Sample,
                      u";Connect Timeout=1;Command Timeout=1"_s);
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
        office.add(u"SMS_Queues"_s, u"ToMB, MsgContent, MsgStatus"_s, {u"1001|x|0"_s});
        QList<qint64> ticks;
        {
            serverOf(office.route()).suspend();
            const auto goOn = qScopeGuard([&] { serverOf(office.route()).resume(); });
            // The first finds the server silent, a later one tries to connect again.
            for (int i = 0; i < 2; ++i)
                QVERIFY(QTest::qWaitFor([&] { return ticks.emplaceBack(tick()) > 100; }));
        }
        // The statement's limit and the two seconds the server has to keep it; then that of connecting.
        // Three seconds for a busy machine.
        for (const qint64 milliseconds : std::as_const(ticks))
            QVERIFY2(milliseconds < 6000, qPrintable(QString::number(milliseconds)));
        const QStringList loss = office.console.takeLog();
        QVERIFY(loss.size() == 1 && loss[0].startsWith(u"数据库连接失败"_s));
        QTRY_COMPARE((tick(), office.table(u"SMS_ResultDetail"_s, u"ToMB"_s)), QStringList(u"1001"_s));
        QCOMPARE(office.simulator().sent().size(), 1);
        QCOMPARE(office.console.takeLog(), QStringList(u"数据库连接恢复正常"_s));
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
