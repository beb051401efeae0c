#include "app/SelfCheck.h"
#include "foundation/Settings.h"
#include "modem/ModemControl.h"
#include "tests/support/Office.h"
#include "tests/support/ScriptedPop3Server.h"
#include "tests/support/SimulatorProcess.h"

#include <QScopeGuard>
#include <QTest>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

class SelfCheckTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Office> m_office;

    void set(const QString &name, const QString &value)
    {
        m_office->registry.write(Settings::pathOf(name), value);
    }

    [[nodiscard]] bool check(QString &told, bool isServing = false)
    {
        ModemControl modem(m_office->clock, [this](int port) {
            return m_office->registry.read(Settings::comDevicePath(port));
        });
        return checkEverything(
            {m_office->clock, m_office->registry, m_office->session, modem},
            [&told](const QString &line) { told += line + u'\n'; }, isServing);
    }

private slots:
    void init()
    {
        m_office = std::make_unique<Office>();
        set(u"CenterCode"_s, u"+8613800100500"_s);
        set(u"ServerPort"_s, u"3"_s);
    }

    void troubles_data()
    {
        QTest::addColumn<QString>("setting"); // NAME=VALUE
        QTest::addColumn<QString>("sql");
        QTest::addColumn<QString>("modem"); // an option of the simulator
        QTest::addColumn<QString>("told");  // "" when all is well
        const QString none;
        const auto setting = [&](const QString &assignment, const QString &told) {
            QTest::newRow(qPrintable(assignment)) << assignment << none << none << told;
        };
        QTest::newRow("all well") << none << none << none << none;
        setting(u"ConnectString="_s, u"连接字符串"_s);
        setting(u"ConnectString=Provider=SQLite;Data Source=/no/where"_s, u"数据库连接失败"_s);
        setting(u"CenterCode="_s, u"没有配置短信中心号码"_s);
        setting(u"CenterCode=8613800100500"_s, u"没有国际前缀“+”"_s);
        setting(u"CenterCode=+86-138"_s, u"数字以外的字符"_s);
        setting(u"ServerPort="_s, u"没有指定 GSM Modem"_s);
        setting(u"ServerPort=x"_s, u"“x”不是端口号"_s);
        setting(u"Servers=several"_s, u"没有会话锁"_s);
        setting(u"COM3=/dev/no-modem"_s, u"代码 1"_s);
        QTest::newRow("no table") << none << u"drop table SMS_IsOrder"_s << none << u"SMS_IsOrder"_s;
        QTest::newRow("no column") << none << u"alter table SMS_Order rename column isPulic to isPublic"_s
                                   << none << u"SMS_Order 缺少列：isPulic"_s;
        QTest::newRow("numbers that no sender has")
            << none << u"insert into VO_UserInfor (UserName, Mobile, AccountState) values ('a', '138', '1')"_s
            << none << u"--set SenderCountryCode=86"_s;
        QTest::newRow("PIN") << none << none << u"--pin"_s << u"PIN"_s;
        QTest::newRow("not registered") << none << none << u"--no-registration"_s << u"未注册"_s;
    }
    void troubles()
    {
        QFETCH(QString, setting);
        QFETCH(QString, sql);
        QFETCH(QString, modem);
        QFETCH(QString, told);
        const SimulatorProcess simulator(modem.isEmpty() ? QStringList() : QStringList(modem));
        set(u"COM3"_s, simulator.devicePath());
        if (!setting.isEmpty())
            set(setting.section(u'=', 0, 0), setting.section(u'=', 1));
        m_office->oa(u"insert into SMS_Order (OrderName, OrderCode) values ('NBYJ', 'DYNB')"_s);
        if (!sql.isEmpty())
            m_office->oa(sql);
        QString answer;
        QCOMPARE(check(answer), told.isEmpty());
        QVERIFY2(answer.contains(told), qPrintable(answer));
        QCOMPARE(answer.contains(u"处理办法"_s), !told.isEmpty());
    }

    void mailAccounts_data()
    {
        QTest::addColumn<QString>("host");
        QTest::addColumn<bool>("refused");
        QTest::addColumn<QString>("told");
        QTest::newRow("well") << u"127.0.0.1"_s << false << u"[正常] 用户 ann 的邮箱 box（127.0.0.1:"_s;
        QTest::newRow("login refused") << u"127.0.0.1"_s << true << u"邮箱登录被拒绝"_s;
        QTest::newRow("no such host") << u"pop.invalid"_s << false << u"无法连接邮件服务器"_s;
    }
    void mailAccounts()
    {
        QFETCH(QString, host);
        QFETCH(bool, refused);
        QFETCH(QString, told);
        const QSet<QByteArray> refusedWays = refused ? QSet<QByteArray>{"USER", "PLAIN"} : QSet<QByteArray>();
        const ScriptedPop3Server server({.refusedWays = refusedWays, .messages = {"Subject: s\r\n\r\n"}});
        const SimulatorProcess simulator;
        set(u"COM3"_s, simulator.devicePath());
        m_office->oa(u"insert into SMS_Order (OrderName, IsOrder, isPulic) values ('WBYJ', '1', '1')"_s);
        m_office->oa(
            u"insert into VO_UserInfor (UserName, AccountState) values ('ann', '1'), ('bob', '0')"_s);
        m_office->oa(
            u"insert into SA_email (OAID, UserName, POPIP, PopPort, EUsername, EPassword, IsBaoLiu)"
            " values (1, 'ann', ?, ?, 'box', 'secret', 0), (2, 'bob', 'pop.invalid', 1, '', '', 0)"_s,
            {host, server.port()});
        QString answer;
        QCOMPARE(check(answer), told.startsWith(u"[正常]"_s));
        QVERIFY2(answer.contains(told), qPrintable(answer));
        QVERIFY2(!answer.contains(u"secret"_s) && !answer.contains(u"bob"_s), qPrintable(answer));
        QVERIFY(server.deleted().isEmpty());
        QCOMPARE(m_office->rows(u"select count(*) from VO_Email"_s), QStringList(u"0"_s));
    }

    void theDeviceIsTaken()
    {
        const SimulatorProcess simulator;
        set(u"COM3"_s, simulator.devicePath());
        ModemControl holder(m_office->clock, [&](int) { return simulator.devicePath(); });
        holder.setPortNumber(3);
        QCOMPARE(holder.open(), qint16(0));
        QString told;
        QVERIFY(!check(told));
        QVERIFY2(told.contains(u"短信服务器正在运行"_s), qPrintable(told));
        QVERIFY(check(told, true)); // by the service of these settings
    }

    void noRightOnTheDevice()
    {
        const SimulatorProcess simulator;
        set(u"COM3"_s, simulator.devicePath());
        const QByteArray device = QFile::symLinkTarget(simulator.devicePath()).toLocal8Bit();
        QCOMPARE(::chmod(device.constData(), 0), 0);
        // The administrator may open anything: be somebody else for a while, whom the office belongs to.
        const bool isAdministrator = ::getuid() == 0;
        constexpr uid_t nobody = 65534;
        if (isAdministrator) {
            for (const QString &file : {u"."_s, u"settings.ini"_s, u"oa.db"_s})
                QCOMPARE(::chown(qPrintable(m_office->path(file)), nobody, nobody), 0);
            QCOMPARE(::setresuid(nobody, nobody, 0), 0);
        }
        const auto leave = qScopeGuard([isAdministrator] {
            if (isAdministrator)
                static_cast<void>(::setresuid(0, 0, 0));
        });
        QString told;
        QVERIFY(!check(told));
        QVERIFY2(told.contains(u"dialout"_s), qPrintable(told));
    }

    void nothingIsChanged()
    {
        SimulatorProcess simulator({u"--smsc"_s, u"+49170"_s});
        set(u"COM3"_s, simulator.devicePath());
        m_office->oa(u"insert into SMS_Queues (ToMB, MsgContent, MsgStatus) values ('1', 'x', '0')"_s);
        QFile settings(m_office->registry.fileName());
        QVERIFY(settings.open(QIODevice::ReadOnly));
        const QByteArray before = settings.readAll();
        simulator.deliver(u"+8613800138000"_s, u"Hello"_s);
        const QString store = simulator.command(u"storage list"_s);
        QString told;
        QVERIFY2(check(told), qPrintable(told));
        QCOMPARE(m_office->rows(u"select MsgStatus from SMS_Queues"_s), QStringList{u"0"_s});
        QVERIFY(settings.seek(0));
        QCOMPARE(settings.readAll(), before);
        QVERIFY(simulator.sent().isEmpty());
        QCOMPARE(simulator.command(u"storage list"_s), store);
    }
};

QTEST_GUILESS_MAIN(SelfCheckTest)
#include "SelfCheckTest.moc"
