#include "tests/database/OfficeAtWork.h"
#include "tests/support/ScriptedPop3Server.h"

#include <QRegularExpression>
#include <QScopeGuard>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

/// 150 characters: three pieces. Holds what SQL, SMS and code pages care about.
QString longText()
{
    return u"It's \"100%\"; -- 😀 \\ "_s + QString(128, u'会');
}

/// Pieces of the long text as they are queued.
QStringList pieces()
{
    const QString text = longText();
    return {text.left(70), u"续1："_s + text.mid(70, 67), u"续2："_s + text.mid(137)};
}

/// As it lies in an external mailbox: a text in GBK and two attachments, the second empty.
QByteArray externalMail()
{
    return "From: =?gbk?B?wO7EyA==?= <li@x.example>\r\nTo: a@x.example\r\nCc: b@x.example\r\n"
           "Subject: It's =?gbk?B?u+HS6Q==?= =?utf-8?B?8J+YgA==?=\r\nX-Priority: 1\r\n"
           "Date: Sun, 05 Mar 2006 07:00:00 +0800\r\nContent-Type: multipart/mixed; boundary=b\r\n\r\n"
           "--b\r\nContent-Type: text/html; charset=gbk\r\n\r\n<b>\xbb\xe1\xd2\xe9</b>\r\n"
           "--b\r\nContent-Type: application/pdf; name=\"=?gbk?B?u+HS6Q==?=.pdf\"\r\n\r\nO'Neil\\\r\n"
           "--b\r\nContent-Type: image/png; name=e.png\r\n\r\n\r\n--b--\r\n";
}

struct TableRows {
    QString table;
    QString columns;
    QStringList rows;
};

/// A day of the office in each table, whatever database it has.
QList<TableRows> officeAfterTheDay()
{
    QStringList results;
    for (const QString &receiver : {u"zhang|13800000001"_s, u"li|13800000002"_s, u"o'neil|13800000003"_s}) {
        for (const QString &piece : pieces())
            results += u"1|%1|%2|2006-03-05 07:08:09|%3"_s.arg(receiver, piece)
                           .arg(receiver.startsWith(u"li"_s) ? u"0"_s : u"1"_s);
    }
    const QString head = u"【办公信息】您收到一封"_s;
    for (const QString &row :
         {u"-1|zhang|13800000001|办公提示：您已经成功订阅了内部邮件短信通知功能。"_s,
          u"-1|o'neil|13800000003|办公提示：您已经成功取消了外部邮件短信通知功能。"_s,
          u"-1|zhang|13800000001|"_s + head + u"内部新邮件，发件人：李娜 邮件标题：It's 会议 😀"_s,
          u"-1|zhang|13800000001|"_s + head + u"外部新邮件，发件人：a@b.example 邮件标题："_s})
        results += row + u"|2006-03-05 07:08:09|1"_s;
    return {
        {u"SMS_WaitToSend"_s,
         u"OAID, ToUserList, CreateDT, MsgContent"_s,
         {u"2|zhang|2006-03-01 00:00:00|later"_s, u"3|NULL|2006-03-01 00:00:00|to nobody"_s}},
        {u"SMS_SendList"_s,
         u"OAID, FromUser, ToUserList, ToNameList, CreateDT, MsgType, MsgContent"_s,
         {u"1|li|zhang;li*o'neil;mute|张;李|2006-03-01 00:00:00|3|"_s + longText()}},
        {u"SMS_Queues"_s,
         u"SOAID, ToUser, ToMB, MsgContent, MsgStatus, RetryCount"_s,
         {u"-1|||not sent|NULL|0"_s}},
        {u"SMS_ResultDetail"_s, u"SOAID, ToUser, ToMB, MsgContent, SendOutDT, IsSuccess"_s, results},
        {u"SMS_SIMReceive"_s,
         u"FromMB, JieSHouDT, MsgContent"_s,
         {u"13900000001|2006-03-05 06:00:00|O'Neil 来电 😀"_s, u"10086|2006-03-05 06:00:00|DYNB later"_s}},
        {u"SMS_IsOrder"_s,
         u"UserName, Type, IsOrder"_s,
         {u"zhang|NBYJ|1"_s, u"li|NBYJ|0"_s, u"o'neil|WBYJ|0"_s}},
        {u"SMS_Alert_MaxOAID"_s,
         u"UserName, Source, CurrentMaxOAID"_s,
         {u"zhang|NBYJ|2"_s, u"zhang|WBYJ|3"_s, u"li|WBYJ|0"_s, u"o'neil|NBYJ|0"_s}},
        {u"VO_Email"_s,
         u"EmailSubject, EmailContent, EmailFromName, EmailFrom, ImpDegree, EmailStatus, EmailDate, EmailTo,"
         " EmailToDis, EmailCC, MSGID, EOAID, EmailSource"_s,
         {u"already alerted|NULL|NULL|li|NULL|1|2006-03-05 07:00:00|*zhang-0-0-0*li-1-0-0*|NULL|NULL|NULL|NULL|1"_s,
          u"It's 会议 😀|NULL|NULL|li|NULL|1|2006-03-05 07:00:00|*zhang-0-0-0*li-1-0-0*|NULL|NULL|NULL|NULL|1"_s,
          u"|NULL|NULL|a@b.example|NULL|1|2006-03-05 07:00:00|*zhang-0-0-0*li-1-0-0*|NULL|NULL|NULL|NULL|2"_s,
          u"It's 会议😀|<b>会议</b>|李娜|li@x.example|1|1|2006-03-05 "
          u"07:00:00|*li-0-0-0*|a@x.example|b@x.example|"
          "it's|1|2"_s,
          u"无标题|<pre>plain</pre><br>|||3|1|NULL|*li-0-0-0*|||second|1|2"_s}},
        {u"VO_EmailAttachments"_s,
         u"EmailID, FileName, FileTitle, FileType, FileContent"_s,
         {u"4|会议.pdf|会议.pdf|application/pdf|O'Neil\\"_s, u"4|e.png|e.png|image/png|"_s}},
    };
}

} // namespace

/// Every pass on every kind of database, with real rows and a simulated modem.
class PassesTest : public QObject
{
    Q_OBJECT

private:
    static void fill(OfficeAtWork &office)
    {
        const auto user = [&](const QString &name, const QVariant &mobile, const QString &display) {
            office.add(u"VO_UserInfor"_s, u"UserName, Mobile, TureName, AccountState"_s,
                       {name, mobile, display, 1});
        };
        user(u"zhang"_s, u"13800000001"_s, u"张伟"_s);
        user(u"li"_s, u"13800000002"_s, u"李娜"_s);
        user(u"o'neil"_s, u"13800000003"_s, u"O'Neil"_s);
        user(u"mute"_s, {}, {});
        const auto order = [&](const QString &type, const QString &code, int isPublic, const QString &users) {
            office.add(u"SMS_Order"_s, u"OrderName, OrderCode, DisOrderCode, IsOrder, isPulic, UserList"_s,
                       {type, u"DY"_s + code, u"QX"_s + code, 1, isPublic, users});
        };
        order(u"NBYJ"_s, u"NB"_s, 1, {});
        order(u"WBYJ"_s, u"WB"_s, 0, u"zhang;li;O'NEIL;o'neil"_s);
        for (const QString &name : {u"zhang"_s, u"li"_s})
            office.add(u"SMS_IsOrder"_s, u"UserName, Type, IsOrder"_s, {name, u"NBYJ"_s, 0});
        office.add(u"SMS_Alert_MaxOAID"_s, u"UserName, Source, CurrentMaxOAID"_s, {u"zhang"_s, u"NBYJ"_s, 1});
        const auto mail = [&](int source, const QString &from, const QString &subject) {
            office.add(u"VO_Email"_s,
                       u"EmailSource, EmailStatus, EmailTo, EmailFrom, EmailSubject, EmailDate"_s,
                       {source, 1, u"*zhang-0-0-0*li-1-0-0*"_s, from, subject, u"2006-03-05 07:00:00"_s});
        };
        mail(1, u"li"_s, u"already alerted"_s);
        mail(1, u"li"_s, u"It's 会议 😀"_s);
        mail(2, u"a@b.example"_s, u""_s);
        const auto message = [&](const QString &due, const QVariant &to, const QString &text) {
            office.add(u"SMS_WaitToSend"_s,
                       u"ToSendDT, FromUserName, ToUserList, ToNameList, CreateDT, MsgType, MsgContent"_s,
                       {due, u"li"_s, to, u"张;李"_s, u"2006-03-01 00:00:00"_s, 3, text});
        };
        message(u"2006-03-05 07:08:09"_s, u"zhang;li*o'neil;mute"_s, longText());
        message(u"2006-03-05 07:08:10"_s, u"zhang"_s, u"later"_s);
        message(u"2006-03-05 00:00:00"_s, {}, u"to nobody"_s);
        office.add(u"SMS_Queues"_s, u"SOAID, ToUser, ToMB, MsgContent, RetryCount"_s,
                   {-1, u""_s, u""_s, u"not sent"_s, 0});
    }

    static void receive(OfficeAtWork &office)
    {
        const auto modemIsEmpty = [&] { return office.simulator.command(u"status"_s).contains(u"SM=0/"_s); };
        for (const QString &message :
             {u"+8613900000001 O'Neil 来电 😀"_s, u"+8613800000001 DYNB"_s, u"+8613800000003 QXWB"_s,
              u"+8613900000009 QXWB"_s, u"10086 DYNB later"_s}) {
            office.simulator.command(u"deliver --time 2006-03-05T06:00:00+08:00 "_s + message);
            QTRY_VERIFY(modemIsEmpty());
        }
    }

private slots:
    void aDayOfTheOffice_data()
    {
        QTest::addColumn<DatabaseRoute>("route");
        QTest::addColumn<SchemaKind>("kind");
        for (const auto &[name, route] :
             {std::pair("SQLite", DatabaseRoute::Sqlite), std::pair("PostgreSQL", DatabaseRoute::PostgreSql),
              std::pair("MariaDB", DatabaseRoute::MariaDb),
              std::pair("PostgreSQL through ODBC", DatabaseRoute::PostgreSqlOdbc),
              std::pair("MariaDB through ODBC", DatabaseRoute::MariaDbOdbc)}) {
            QTest::addRow("%s, sample", name) << route << SchemaKind::Sample;
            QTest::addRow("%s, padded texts", name) << route << SchemaKind::PaddedTexts;
            QTest::addRow("%s, numbers and zones", name) << route << SchemaKind::NumbersZoned;
        }
    }
    void aDayOfTheOffice()
    {
        QFETCH(DatabaseRoute, route);
        QFETCH(SchemaKind, kind);
        OfficeAtWork office(m_servers, route, kind);
        fill(office);
        office.simulator.command(u"refuse-number 13800000002 1"_s);
        office.passes.expand();
        office.passes.send();
        office.passes.archive();
        receive(office);
        office.passes.alert();
        office.passes.send();
        office.passes.archive();
        // A second round finds nothing to do.
        office.passes.expand();
        office.passes.alert();
        office.passes.send();
        office.passes.archive();
        const ScriptedPop3Server mailbox(
            {.messages = {externalMail(), "\r\nplain\r\n"}, .uids = {"it's", "second"}});
        office.add(u"SA_email"_s, u"UserName, POPIP, PopPort, EUsername, EPassword, IsBaoLiu"_s,
                   {u"li"_s, u"127.0.0.1"_s, mailbox.port(), u"box"_s, u"p'w"_s, 1});
        office.passes.collect();
        office.passes.collect();

        QStringList log = office.console.takeLog();
        QCOMPARE(log.filter(u"13800000002短信发送失败."_s).size(), 3);
        QCOMPARE(log.filter(u"发来短信"_s).size(), 2);
        QCOMPARE(log.filter(u"SMS_WaitToSend 3 无法处理"_s).size(), 1);
        QVERIFY2(log.size() == 9, qPrintable(log.join(u'\n')));
        QCOMPARE(office.simulator.sentWhole().size(), 10);
        for (const TableRows &wanted : officeAfterTheDay())
            QCOMPARE(office.rows(wanted.table, wanted.columns,
                                 wanted.table == u"VO_Email" ? u"VOID"_s : u"OAID"_s),
                     wanted.rows);
    }

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
        OfficeAtWork office(m_servers, route, SchemaKind::Sample);
        TestDatabase &database = office.database;
        const QStringList narrow{u"SMS_SendList.ToNameList"_s, u"SMS_ResultDetail.MsgContent"_s,
                                 u"SMS_SIMReceive.MsgContent"_s};
        for (const QString &place : narrow)
            database.oa(u"alter table %1 %2"_s.arg(
                place.section(u'.', 0, 0),
                (database.isPostgreSql() ? u"alter column %1 type varchar(5)"_s : u"modify %1 varchar(5)"_s)
                    .arg(place.section(u'.', 1))));
        if (database.isMariaDb()) {
            // Left out by the program, and without a default: what only a server that is not strict allows.
            if (!strict)
                database.oa(u"alter table SMS_SIMReceive add Remark varchar(9) not null"_s);
            database.oa(u"set global sql_mode='%1'"_s.arg(strict ? u"STRICT_TRANS_TABLES"_s : QString()));
            QVERIFY(office.session.OpenDB());
        }
        office.add(u"VO_UserInfor"_s, u"UserName, Mobile"_s, {u"zhang"_s, u"13800000001"_s});
        for (const QString &names : {u"张"_s, u"张;李;王;赵"_s, u"李"_s})
            office.add(u"SMS_WaitToSend"_s, u"ToSendDT, ToUserList, ToNameList, MsgContent"_s,
                       {u"2006-03-05"_s, u"zhang"_s, names, u"x"_s});
        for (const QString &text : {u"短"_s, u"一二三四五六"_s, u"一二三四五"_s})
            office.add(u"SMS_Queues"_s, u"ToMB, MsgContent, MsgStatus"_s, {u"1"_s, text, 8});
        office.passes.expand();
        office.passes.archive();
        for (const QString &text : {u"before"_s, u"一二三"_s, u"一二三四五"_s})
            office.simulator.command(u"deliver 13900000001 "_s + text);
        QTRY_VERIFY(office.simulator.command(u"status"_s).contains(u"SM=1/"_s));
        QCOMPARE(office.rows(u"SMS_WaitToSend"_s, u"ToNameList"_s), QStringList(u"张;李;王;赵"_s));
        QCOMPARE(office.rows(u"SMS_SendList"_s, u"ToNameList"_s), QStringList({u"张"_s, u"李"_s}));
        QCOMPARE(office.rows(u"SMS_ResultDetail"_s, u"MsgContent"_s),
                 QStringList({u"短"_s, u"一二三四五"_s}));
        QCOMPARE(office.rows(u"SMS_Queues"_s, u"MsgContent"_s),
                 QStringList({u"一二三四五六"_s, u"x"_s, u"x"_s}));
        QCOMPARE(office.rows(u"SMS_SIMReceive"_s, u"MsgContent"_s),
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
        OfficeAtWork office(m_servers, DatabaseRoute::PostgreSql, SchemaKind::Sample);
        office.database.oa(u"create function hang_up() returns trigger language plpgsql as"
                           " 'begin perform pg_terminate_backend(pg_backend_pid()); return new; end'"_s);
        office.database.oa(u"create trigger hang_up before insert on SMS_SIMReceive"
                           " for each row execute function hang_up()"_s);
        FaultLog faults(office.console);
        TaskGuard guard(office.session, office.console, faults);
        InboundMessageHandler handler(office.session, office.console, faults, guard, office.modem);
        const ReceivedMessage message{u"10086"_s, u"It's 会议"_s, u"2006-03-05 06:00:00"_s};
        QCOMPARE(handler.handle(0, message), MessageFate::Wait);
        office.database.oa(u"drop trigger hang_up on SMS_SIMReceive"_s);
        // As the server would have it, had it been lost between the commit and its answer.
        office.add(u"SMS_SIMReceive"_s, u"FromMB, JieSHouDT, MsgContent"_s,
                   {message.sender, message.receiveTime, message.text});
        QVERIFY(QTest::qWaitFor([&] { return handler.handle(0, message) == MessageFate::Handled; }));
        QCOMPARE(office.rows(u"SMS_SIMReceive"_s, u"FromMB"_s).size(), 1);
        // From then on the same text in the same second is another message.
        QCOMPARE(handler.handle(0, message), MessageFate::Handled);
        QCOMPARE(office.rows(u"SMS_SIMReceive"_s, u"FromMB"_s).size(), 2);
        QCOMPARE(office.console.takeLog().size(), 4); // lost, back, two messages
    }

    void messageWithdrawnWhileItIsQueuedIsNotSent_data() { addServerRoutes(); }
    void messageWithdrawnWhileItIsQueuedIsNotSent()
    {
        QFETCH(DatabaseRoute, route);
        OfficeAtWork office(m_servers, route, SchemaKind::Sample);
        office.add(u"VO_UserInfor"_s, u"UserName, Mobile"_s, {u"zhang"_s, u"13800000001"_s});
        for (const QString &text : {longText(), u"next"_s})
            office.add(u"SMS_WaitToSend"_s, u"ToSendDT, ToUserList, MsgContent"_s,
                       {u"2006-03-05"_s, u"zhang"_s, text});
        int asked = 0;
        office.console.stopWhen = [&] {
            if (++asked == 3) // between two pieces of the first message
                office.database.oa(u"delete from SMS_WaitToSend where OAID=1"_s);
            return false;
        };
        office.passes.expand();
        QCOMPARE(office.rows(u"SMS_Queues"_s, u"MsgContent"_s), QStringList(u"next"_s));
        QCOMPARE(office.rows(u"SMS_SendList"_s, u"MsgContent"_s), QStringList(u"next"_s));
        QCOMPARE(office.console.takeLog(), QStringList());
    }

    void stoppedServerBlocksNoTickForLonger_data() { addServerRoutes(); }
    void stoppedServerBlocksNoTickForLonger()
    {
        QFETCH(DatabaseRoute, route);
        OfficeAtWork office(m_servers, route, SchemaKind::Sample, u";Connect Timeout=2;Command Timeout=2"_s);
        const auto tick = [&] {
            QElapsedTimer timer;
            timer.start();
            office.passes.send();
            office.passes.archive();
            office.passes.expand();
            office.passes.alert();
            return timer.elapsed();
        };
        tick();
        office.add(u"SMS_Queues"_s, u"ToMB, MsgContent, MsgStatus"_s, {u"1001"_s, u"x"_s, 0});
        QList<qint64> ticks;
        {
            m_servers.of(route).suspend();
            const auto goOn = qScopeGuard([&] { m_servers.of(route).resume(); });
            // The first finds the server silent, a later one tries to connect again.
            for (int i = 0; i < 2; ++i)
                QVERIFY(QTest::qWaitFor([&] { return ticks.emplaceBack(tick()) > 100; }));
        }
        // The statement's limit and the two seconds the server has to keep it; then that of connecting.
        // Three seconds for a busy machine.
        for (const qint64 milliseconds : qAsConst(ticks))
            QVERIFY2(milliseconds < (2 + 2 + 3) * 1000, qPrintable(QString::number(milliseconds)));
        QTRY_COMPARE((tick(), office.rows(u"SMS_ResultDetail"_s, u"ToMB"_s)), QStringList(u"1001"_s));
        QCOMPARE(office.simulator.sent().size(), 1);
        const QStringList log = office.console.takeLog();
        QVERIFY2(log.size() == 2 && log[0].startsWith(u"数据库连接失败"_s) && log[1] == u"数据库连接恢复正常",
                 qPrintable(log.join(u'\n')));
    }

private:
    TestServers m_servers;
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
