#include "tests/console/ConsoleFixture.h"
#include "tests/support/SimulatorProcess.h"
#include "tests/support/TextTable.h"

#include <QRegularExpression>
#include <climits>

using namespace Qt::StringLiterals;

/// Start and Stop, by the button, the menu and unattended.
class frmMainTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<ConsoleFixture> m_console;

    void pressStart() { QTest::mouseClick(m_console->child<QPushButton>("btnOp"), Qt::LeftButton); }
    /// The button's caption and the status panel.
    [[nodiscard]] QString state() const
    {
        return m_console->child<QPushButton>("btnOp")->text() +
               m_console->window.panelText(OperatorConsole::Status);
    }
    [[nodiscard]] QTimer *again() const { return m_console->child<QTimer>("tStartAgain"); }
    /// The office's session looks at another database from now on.
    void pointAt(const QString &connectString)
    {
        m_console->office.registry.write(Settings::connectStringPath(), connectString);
    }

private slots:
    void init()
    {
        m_console = std::make_unique<ConsoleFixture>();
        m_console->window.show();
        QCOMPARE(state(), u"启动等待..."_s);
    }
    void cleanup()
    {
        QCOMPARE(m_console->takeLog(), QStringList());
        m_console.reset();
    }

    void startRefused_data()
    {
        // office: the office's own database. *: what the modem says of the device.
        addRows(uR"(
            case                 | database   | centre | port  | box  | state              | by itself | log
            no connection string |            | +861   | 3     |      | 启动等待...        |           | 数据库连接失败
            no database          | /no/where  | +861   | 3     |      | 启动等待...        | yes       | 数据库连接失败
            no centre number     | office     |        | 3     | 请首先进行参数配置,配置短信中心号码! | 启动等待... | |
            no port              | office     | +861   |       |      | 启动等待...        |           | 没有指定GSM Modem COM端口,请正确配置 GSM Modem COM端口
            port abc             | office     | +861   | abc   |      | 启动启动失败...    |           | 连接 COMabc失败，请检查连线是否正确。
            port 2.5             | office     | +861   | 2.5   |      | 启动启动失败...    |           | 连接 COM2.5失败，请检查连线是否正确。
            port 70000           | office     | +861   | 70000 |      | 启动启动失败...    |           | 连接 COM70000失败，请检查连线是否正确。
            no modem             | office     | +861   | " 3 " |      | 启动启动失败...    | yes       | *;连接 COM3失败，请检查连线是否正确。
            )"_s);
    }
    void startRefused()
    {
        m_console->configure(cell("centre"), cell("port"));
        QStringList wanted = cell("log").split(u';', Qt::SkipEmptyParts);
        if (cell("database") == u"office")
            wanted.prepend(u"成功连接数据库"_s);
        else
            pointAt(cell("database").isEmpty() ? QString()
                                               : u"Provider=SQLite;Data Source="_s + cell("database"));
        for (const bool isUnattended : {false, true, false}) { // in the end the operator takes over
            if (isUnattended)
                m_console->window.startUnattended();
            else
                pressStart();
            const bool isTrying = isUnattended && !cell("by itself").isEmpty();
            QCOMPARE(
                m_console->takeLog().join(u';').replace(QRegularExpression(u"[^;]*no-modem[^;]*"_s), u"*"_s),
                (wanted + QStringList(isTrying, u"启动未成功，每隔 10 秒自动重试，直到成功"_s)).join(u';'));
            QCOMPARE(again()->isActive(), isTrying);
            QCOMPARE(m_console->takeBoxes(), cell("box"));
            QCOMPARE(state(), cell("state"));
        }
    }

    void unreadableSettingsAreAFaultAndNotTheEnd()
    {
        QFile file(m_console->office.registry.fileName());
        QVERIFY(file.remove() && QDir().mkdir(file.fileName())); // a folder in the file's place
        pressStart();
        QVERIFY(m_console->takeLog().last().startsWith(u"启动服务失败："_s));
        QCOMPARE(state(), u"启动启动失败..."_s);
    }

    void intervalsFromTimeDelay()
    {
        const ServiceStart start({m_console->office.clock, m_console->office.registry,
                                  m_console->office.session, m_console->modem},
                                 m_console->window);
        QMap<QString, int> milliseconds{{u"5"_s, 5000},   {u"５"_s, 5000},  {u"2.5"_s, 2000},
                                        {u"3.5"_s, 4000}, {u"60"_s, 60000}, {u"2147483647"_s, INT_MAX}};
        for (const auto &useless : {u""_s, u"abc"_s, u"0"_s, u"-3"_s, u"0.5"_s, u"99999999999"_s})
            milliseconds[useless] = 10000;
        for (auto delay = milliseconds.cbegin(); delay != milliseconds.cend(); ++delay) {
            m_console->configure(u"+861"_s, u"3"_s, delay.key());
            QVERIFY2(start.scanIntervalMilliseconds() == *delay, qPrintable(delay.key()));
        }
    }

    void runsUntilStopIsConfirmed()
    {
        const SimulatorProcess modem;
        m_console->device = modem.devicePath();
        m_console->configure(u" ＋8613800100500 "_s, u"3"_s);
        pressStart();
        QCOMPARE(m_console->takeLog(), QStringList({u"成功连接数据库"_s, u"连接 COM3端口成功！"_s}));
        QCOMPARE(state(), u"停止正在运行..."_s);

        m_console->boxes->answers = {false, true};
        m_console->window.m_Stop_Click();
        QVERIFY(m_console->modem.isPortOpen());
        QCOMPARE(m_console->endings, 0);
        pressStart();
        QCOMPARE(m_console->takeBoxes(), u"确实要停止短信服务器吗？|确实要停止短信服务器吗？"_s);
        QCOMPARE(m_console->takeLog(), QStringList{u"释放 COM3端口成功！"_s});
        QCOMPARE(state() + m_console->window.panelText(OperatorConsole::ToSend),
                 u"启动服务未启动...准备就绪"_s);
        QVERIFY(!m_console->modem.isPortOpen());
        QCOMPARE(m_console->endings, 1);
    }

    void unattendedItSaysOnceThatItTriesAndOnceThatItHasSucceeded()
    {
        m_console->configure(u"+8613800100500"_s, u"3"_s, u"1"_s);
        const QString there = m_console->office.connectString();
        pointAt(u"Provider=SQLite;Data Source=/no/where"_s);
        int tries = 0;
        connect(again(), &QTimer::timeout, this, [&tries] { ++tries; });
        const auto tryTwice = [&] {
            for (const int before = tries; tries < before + 2;) {
                QCOMPARE(again()->interval(), 1000);
                again()->setInterval(0);
                QTRY_VERIFY(again()->interval() != 0 || m_console->window.isRunning());
            }
        };
        m_console->window.startUnattended();
        tryTwice();
        QCOMPARE(m_console->takeLog(),
                 QStringList({u"数据库连接失败"_s, u"启动未成功，每隔 1 秒自动重试，直到成功"_s}));
        // The database comes back; the modem is still away.
        pointAt(there);
        tryTwice();
        QCOMPARE(m_console->takeLog().size(), 3);
        const SimulatorProcess modem;
        m_console->device = modem.devicePath();
        QTRY_VERIFY(m_console->window.isRunning());
        QCOMPARE(m_console->takeLog(),
                 QStringList({u"连接 COM3端口成功！"_s, u"自动重试成功，服务已启动"_s}));
    }
};

QTEST_MAIN(frmMainTest)
#include "frmMainTest.moc"
