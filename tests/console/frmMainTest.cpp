#include "tests/console/ConsoleFixture.h"
#include "tests/support/SimulatorProcess.h"

#include <QTest>

using namespace Qt::StringLiterals;

class frmMainTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<ConsoleFixture> m_console;

    void pressStart() { QTest::mouseClick(m_console->child<QPushButton>("btnOp"), Qt::LeftButton); }
    [[nodiscard]] QString caption() const { return m_console->child<QPushButton>("btnOp")->text(); }
    /// The office's session looks at another database from now on.
    void pointAt(const QString &connectString)
    {
        m_console->office.registry.write(Settings::connectStringPath(), connectString);
    }
    void startOn(const SimulatorProcess &modem, const QString &timeDelay = {})
    {
        m_console->device = modem.devicePath();
        m_console->configure(u" ＋8613800100500 "_s, u"3"_s, timeDelay);
        pressStart();
        QCOMPARE(m_console->takeLog(), QStringList({u"成功连接数据库"_s, u"连接 COM3端口成功！"_s}));
    }

private slots:
    void init()
    {
        m_console = std::make_unique<ConsoleFixture>();
        m_console->window.show();
    }
    void cleanup()
    {
        QCOMPARE(m_console->takeLog(), QStringList());
        m_console.reset();
    }

    void waitsForTheOperatorAndTouchesNothing()
    {
        QCOMPARE(caption(), u"启动"_s);
        QCOMPARE(m_console->panel(OperatorConsole::Status), u"等待..."_s);
        QCOMPARE(m_console->panel(OperatorConsole::Time), u"2006-03-05 07:08:09"_s);
        QVERIFY(!m_console->modem.isPortOpen());
    }

    void startRefused_data()
    {
        QTest::addColumn<QString>("centerCode");
        QTest::addColumn<QString>("serverPort");
        QTest::addColumn<QStringList>("log");
        QTest::addColumn<QStringList>("boxes");
        QTest::addColumn<QString>("status");
        const QString connected = u"成功连接数据库"_s;
        const QString waiting = u"等待..."_s;
        const QString failed = u"启动失败..."_s;
        const auto cable = [](const QString &port) {
            return u"连接 COM%1失败，请检查连线是否正确。"_s.arg(port);
        };
        QTest::newRow("no centre number")
            << u""_s << u"3"_s << QStringList{connected}
            << QStringList{u"请首先进行参数配置,配置短信中心号码!"_s} << waiting;
        QTest::newRow("no port") << u"+861"_s << u""_s
                                 << QStringList{connected,
                                                u"没有指定GSM Modem COM端口,请正确配置 GSM Modem COM端口"_s}
                                 << QStringList() << waiting;
        for (const auto &port : {u"abc"_s, u"2.5"_s, u"70000"_s, u"99999999999"_s})
            QTest::newRow(qPrintable(u"port "_s + port))
                << u"+861"_s << port << QStringList{connected, cable(port)} << QStringList() << failed;
    }
    void startRefused()
    {
        QFETCH(QString, centerCode);
        QFETCH(QString, serverPort);
        m_console->configure(centerCode, serverPort);
        pressStart();
        QTEST(m_console->takeLog(), "log");
        QTEST(m_console->boxes.shown, "boxes");
        QTEST(m_console->panel(OperatorConsole::Status), "status");
        QCOMPARE(caption(), u"启动"_s);
    }

    void absentDatabaseLeavesEverythingElseAlone()
    {
        m_console->configure(u"+861"_s, u"3"_s);
        pointAt(u"Provider=SQLite;Data Source="_s + m_console->office.path(u"away.db"_s));
        pressStart();
        QCOMPARE(m_console->takeLog(), QStringList{u"数据库连接失败"_s});
        QCOMPARE(m_console->panel(OperatorConsole::Status), u"等待..."_s);
        QCOMPARE(caption(), u"启动"_s);
    }

    void absentModemTellsTheCauseAndMayBeTriedAgain()
    {
        m_console->configure(u"+861"_s, u" 3 "_s);
        pressStart();
        const QStringList log = m_console->takeLog();
        QCOMPARE(log.size(), 3);
        QCOMPARE(log.first(), u"成功连接数据库"_s);
        QVERIFY(log.at(1).contains(m_console->device)); // the modem's own notice
        QCOMPARE(log.last(), u"连接 COM3失败，请检查连线是否正确。"_s);
        QCOMPARE(m_console->panel(OperatorConsole::Status), u"启动失败..."_s);
        pressStart();
        QCOMPARE(m_console->takeLog(), log);
    }

    void unreadableSettingsAreAFaultAndNotTheEnd()
    {
        QFile file(m_console->office.registry.fileName());
        QVERIFY(file.remove() && QDir().mkdir(file.fileName())); // a folder in the file's place
        pressStart();
        const QStringList log = m_console->takeLog();
        QCOMPARE(log.first(), u"数据库连接失败"_s);
        QVERIFY(log.last().startsWith(u"启动服务失败："_s));
        QCOMPARE(caption(), u"启动"_s);
    }

    void intervalsFromTimeDelay_data()
    {
        QTest::addColumn<QString>("timeDelay");
        QTest::addColumn<int>("milliseconds");
        QTest::newRow("5") << u"5"_s << 5000;
        for (const auto &useless : {u""_s, u"abc"_s, u"0"_s, u"-3"_s, u"0.5"_s, u"99999999999"_s})
            QTest::newRow(qPrintable(u"useless: "_s + useless)) << useless << 10000;
        QTest::newRow("full width") << u"５"_s << 5000;
        QTest::newRow("half to even, down") << u"2.5"_s << 2000;
        QTest::newRow("half to even, up") << u"3.5"_s << 4000;
        QTest::newRow("beyond 16 bits of milliseconds") << u"60"_s << 60000;
        QTest::newRow("more than a timer holds") << u"2147483647"_s << std::numeric_limits<int>::max();
    }
    void intervalsFromTimeDelay()
    {
        QFETCH(QString, timeDelay);
        m_console->configure(u"+861"_s, u"3"_s, timeDelay);
        ServiceStart start({m_console->office.clock, m_console->office.registry, m_console->office.session,
                            m_console->modem},
                           m_console->window);
        QTEST(start.scanIntervalMilliseconds(), "milliseconds");
    }

    void runsUntilStopIsConfirmed()
    {
        const SimulatorProcess modem;
        startOn(modem);
        QCOMPARE(caption(), u"停止"_s);
        QCOMPARE(m_console->panel(OperatorConsole::Status), u"正在运行..."_s);

        m_console->boxes.answers = {false, true};
        pressStart();
        QCOMPARE(m_console->boxes.shown, QStringList{u"确实要停止短信服务器吗？"_s});
        QVERIFY(m_console->modem.isPortOpen());
        QCOMPARE(m_console->endings, 0);

        pressStart();
        QCOMPARE(m_console->takeLog(), QStringList{u"释放 COM3端口成功！"_s});
        QCOMPARE(caption(), u"启动"_s);
        QCOMPARE(m_console->panel(OperatorConsole::ToSend), u"准备就绪"_s);
        QCOMPARE(m_console->panel(OperatorConsole::Status), u"服务未启动..."_s);
        QVERIFY(!m_console->modem.isPortOpen());
        QCOMPARE(m_console->endings, 1);
    }

    void stopMenuItem_data()
    {
        QTest::addColumn<bool>("running");
        QTest::newRow("stopped: no question") << false;
        QTest::newRow("running: the question first") << true;
    }
    void stopMenuItem()
    {
        QFETCH(bool, running);
        const SimulatorProcess modem;
        if (running)
            startOn(modem);
        m_console->window.m_Stop_Click();
        QCOMPARE(m_console->boxes.shown.size(), running ? 1 : 0);
        QCOMPARE(m_console->endings, running ? 0 : 1);
    }

    void logLinesAreOneLineEachNewestFirst()
    {
        m_console->window.addLogLine(u"先"_s);
        m_console->window.addLogLine(u"后\r\n两\u2028行\0"_s);
        QCOMPARE(m_console->child<LogBox>("SMSLog")->toPlainText(),
                 u"2006-03-05 07:08:09 后  两 行 \n2006-03-05 07:08:09 先\n"_s);
        m_console->log.clear();
    }
};

QTEST_MAIN(frmMainTest)
#include "frmMainTest.moc"
