#include "app/SelfCheck.h"
#include "foundation/Settings.h"
#include "modem/ModemControl.h"
#include "outgoing/SendLedger.h"
#include "platform/files/Files.h"
#include "tests/support/Office.h"
#include "tests/support/ScriptedPop3Server.h"
#include "tests/support/SimulatorProcess.h"
#include "tests/support/TextTable.h"

using namespace Qt::StringLiterals;

class SelfCheckTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Office> m_office;
    QString m_told; // by the last check

    [[nodiscard]] bool check(bool isServing = false)
    {
        m_told.clear();
        ModemControl modem(m_office->clock, [this](int port) {
            return m_office->registry.read(Settings::comDevicePath(port));
        });
        ServerParts parts{m_office->clock, m_office->registry, m_office->session, modem};
        parts.sendLedgerFile = m_office->path(u"sends"_s);
        return checkEverything(
            parts, [this](const QString &line) { m_told += line + u'\n'; }, isServing);
    }

private slots:
    void init()
    {
        m_office = std::make_unique<Office>();
        m_office->set(u"CenterCode"_s, u"+8613800100500"_s);
        m_office->set(u"ServerPort"_s, u"3"_s);
    }

    void troubles_data()
    {
        // mail: how ann's account fares. An SMS has just been sent.
        addRows(uR"(
            trouble              | told                      | setting | modem | mail | sql
            nothing              |                           |         |       | well
            no connection        | 连接字符串                | ConnectString=
            no database          | 数据库连接失败            | ConnectString=Provider=SQLite;Data Source=/no/where
            no centre number     | 没有配置短信中心号码      | CenterCode=
            national number      | 没有国际前缀“+”           | CenterCode=8613800100500
            number with hyphen   | 只能是“+”和最多 20 位数字  | CenterCode=+86-138
            no port              | 没有指定 GSM Modem        | ServerPort=
            port in words        | ServerPort=x 不起作用     | ServerPort=x
            file for two servers | 没有会话锁                | Servers=several
            no device            | 代码 1                    | COM3=/dev/no-modem
            PIN                  | PIN                       |         | pin required
            not registered       | 未注册                    |         | registered 0
            SIM nearly full      | SM 将满：已用 1，共 1     |         | storage-size 1
            limit reached        | SendPerHour=1，暂停发送到 2006-03-05 08:08:09 | SendPerHour=1
            ledger damaged       | 已损坏                    | SendPerDay=1
            login refused        | 邮箱登录被拒绝            |         |       | refused
            no mail server       | 无法连接邮件服务器        |         |       | no server
            no table             | SMS_IsOrder               |         |       | | drop table SMS_IsOrder
            no column            | SMS_Order 缺少列：isPulic |         |       | | alter table SMS_Order rename column isPulic to isPublic
            old mail unmarked    | --skip-old-mail           |         |       | | insert into VO_Email (EmailTo, EmailSource, EmailStatus) values ('*a-0-0-0*', '1', '1'); insert into VO_UserInfor (UserName, Mobile, AccountState) values ('a', '+86', '1')
            no sender's number   | --set SenderCountryCode=86 |        |       | | insert into VO_UserInfor (UserName, Mobile, AccountState) values ('a', '138', '1')
            )"_s);
    }
    void troubles()
    {
        const QString mail = cell("mail");
        const QSet<QByteArray> refusedWays =
            mail == u"refused" ? QSet<QByteArray>{"USER", "PLAIN"} : QSet<QByteArray>();
        const ScriptedPop3Server mailServer({.refusedWays = refusedWays, .messages = {"Subject: s\r\n\r\n"}});
        SimulatorProcess simulator;
        if (const QString command = cell("modem"); !command.isEmpty())
            simulator.command(command);
        simulator.command(u"deliver +8613800138000 Hello"_s);
        m_office->set(u"COM3"_s, simulator.devicePath());
        if (const QString setting = cell("setting"); !setting.isEmpty())
            m_office->set(setting.section(u'=', 0, 0), setting.section(u'=', 1));
        m_office->oa(u"insert into SMS_Order (OrderName, OrderCode, IsOrder, isPulic) values"
                     " ('NBYJ', 'DYNB', '1', '1'), ('WBYJ', 'DYWB', '1', '1')"_s);
        m_office->oa(
            u"insert into VO_UserInfor (UserName, AccountState) values ('ann', '1'), ('bob', '0')"_s);
        if (!mail.isEmpty())
            m_office->oa(
                u"insert into SA_email (OAID, UserName, POPIP, PopPort, EUsername, EPassword, IsBaoLiu)"
                " values (1, 'ann', '127.0.0.1', ?, 'box', 'secret', 0), (2, 'bob', '', 1, '', '', 0)"_s,
                {mail == u"no server" ? 1 : mailServer.port()});
        m_office->oa(u"insert into SMS_Queues (ToMB, MsgContent, MsgStatus) values ('1', 'x', '0')"_s);
        for (const QString &sql : cell("sql").split(u';', Qt::SkipEmptyParts))
            m_office->oa(sql);
        const QString ledger = m_office->path(u"sends"_s);
        SendLedger(m_office->clock, ledger, 1).add();
        if (QTest::currentDataTag() == "ledger damaged"_ba)
            QVERIFY(!replaceSynced(ledger, "x\n").isError());
        const auto state = [&] {
            return simulator.command(u"storage list"_s) +
                   m_office->rows(u"select * from SMS_Queues"_s).join(u' ') +
                   QString::number(m_office->rows(u"select VOID from VO_Email"_s).size()) +
                   QString::fromUtf8(readWhole(m_office->registry.fileName()).octets +
                                     readWhole(ledger).octets);
        };
        const QString before = state();
        QCOMPARE(check(), cell("told").isEmpty());
        QVERIFY2(m_told.contains(cell("told")), qPrintable(m_told));
        QCOMPARE(m_told.contains(u"处理办法"_s), !cell("told").isEmpty());
        QCOMPARE(m_told.contains(u"[正常] 用户 ann 的邮箱 box（127.0.0.1:"_s), mail == u"well");
        QVERIFY2(!m_told.contains(u"secret"_s) && !m_told.contains(u"bob"_s), qPrintable(m_told));
        // Nothing is changed.
        QCOMPARE(state(), before);
        QVERIFY(simulator.sent().isEmpty() && mailServer.deleted().isEmpty());
    }

    void theModemOfTheServiceThatRunsIsNotTried()
    {
        m_office->set(u"COM3"_s, u"/dev/no-modem"_s);
        QVERIFY2(check(true), qPrintable(m_told));
    }
};

QTEST_GUILESS_MAIN(SelfCheckTest)
#include "SelfCheckTest.moc"
