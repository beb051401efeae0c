#include "tests/console/ConsoleFixture.h"
#include "tests/support/SimulatorProcess.h"

#include <QTest>

using namespace Qt::StringLiterals;

/// Start and Stop, by the button, the menu and unattended.
class frmMainTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<ConsoleFixture> m_console;

    void pressStart() { QTest::mouseClick(m_console->child<QPushButton>("btnOp"), Qt::LeftButton); }
    [[nodiscard]] QString caption() const { return m_console->child<QPushButton>("btnOp")->text(); }
    [[nodiscard]] QString status() const { return m_console->panel(OperatorConsole::Status); }
    [[nodiscard]] QTimer *again() const { return m_console->child<QTimer>("tStartAgain"); }
    /// The office's session looks at another database from now on.
    void pointAt(const QString &connectString)
    {
        m_console->office.registry.write(Settings::connectStringPath(), connectString);
    }
    void startOn(const SimulatorProcess &modem)
    {
        m_console->device = modem.devicePath();
        m_console->configure(u" ＋8613800100500 "_s, u"3"_s);
        pressStart();
        QCOMPARE(m_console->takeLog(), QStringList({u"成功连接数据库"_s, u"连接 COM3端口成功！"_s}));
    }

private slots:
    void init()
    {
        m_console = std::make_unique<ConsoleFixture>();
        m_console->window.show();
        QCOMPARE(caption() + status(), u"启动等待..."_s);
    }
    void cleanup()
    {
        QCOMPARE(m_console->takeLog(), QStringList());
        m_console.reset();
    }

    void startRefused_data()
    {
        QTest::addColumn<QString>("centerCode");
        QTest::addColumn<QString>("serverPort");
        QTest::addColumn<QString>("logged"); // after the database
        QTest::addColumn<QString>("box");
        QTest::newRow("no centre number")
            << u""_s << u"3"_s << u""_s << u"请首先进行参数配置,配置短信中心号码!"_s;
        QTest::newRow("no port") << u"+861"_s << u""_s
                                 << u"没有指定GSM Modem COM端口,请正确配置 GSM Modem COM端口"_s << u""_s;
        for (const auto &port : {u"abc"_s, u"2.5"_s, u"70000"_s})
            QTest::newRow(qPrintable(u"port "_s + port))
                << u"+861"_s << port << u"连接 COM%1失败，请检查连线是否正确。"_s.arg(port) << u""_s;
    }
    /// A missing setting ends the unattended start's trying too.
    void startRefused()
    {
        QFETCH(QString, centerCode);
        QFETCH(QString, serverPort);
        QFETCH(QString, logged);
        m_console->configure(centerCode, serverPort);
        for (const bool isUnattended : {false, true}) {
            if (isUnattended)
                m_console->window.startUnattended();
            else
                pressStart();
            QCOMPARE(m_console->takeLog().join(u'|'),
                     u"成功连接数据库"_s + (logged.isEmpty() ? QString() : u"|"_s + logged));
            QTEST(m_console->boxes.shown.join(u'|'), "box");
            QCOMPARE(status(), logged.startsWith(u"连接"_s) ? u"启动失败..."_s : u"等待..."_s);
            QVERIFY(!m_console->window.isRunning() && !again()->isActive());
            m_console->boxes.shown.clear();
        }
    }

    void absentDatabaseLeavesEverythingElseAlone()
    {
        m_console->configure(u"+861"_s, u"3"_s);
        pointAt(u"Provider=SQLite;Data Source="_s + m_console->office.path(u"away.db"_s));
        pressStart();
        QCOMPARE(m_console->takeLog(), QStringList{u"数据库连接失败"_s});
        QCOMPARE(status(), u"等待..."_s);
        pointAt({});
        m_console->window.startUnattended();
        QCOMPARE(m_console->takeLog(), QStringList{u"数据库连接失败"_s});
        QVERIFY(!again()->isActive()); // a missing connection string does not come by itself
    }

    void absentModemTellsTheCauseAndMayBeTriedAgain()
    {
        m_console->configure(u"+861"_s, u" 3 "_s);
        pressStart();
        const QStringList log = m_console->takeLog();
        QCOMPARE(log.size(), 3);
        QVERIFY(log.at(1).contains(m_console->device)); // the modem's own notice
        QCOMPARE(log.last(), u"连接 COM3失败，请检查连线是否正确。"_s);
        QCOMPARE(status(), u"启动失败..."_s);
        m_console->window.startUnattended();
        QVERIFY(again()->isActive());
        QCOMPARE(m_console->takeLog(), log + QStringList(u"启动未成功，每隔 10 秒自动重试，直到成功"_s));
        pressStart(); // the operator takes over
        QVERIFY(!again()->isActive());
        QCOMPARE(m_console->takeLog(), log);
    }

    void unreadableSettingsAreAFaultAndNotTheEnd()
    {
        QFile file(m_console->office.registry.fileName());
        QVERIFY(file.remove() && QDir().mkdir(file.fileName())); // a folder in the file's place
        pressStart();
        QVERIFY(m_console->takeLog().last().startsWith(u"启动服务失败："_s));
        QCOMPARE(caption(), u"启动"_s);
    }

    void intervalsFromTimeDelay_data()
    {
        QTest::addColumn<int>("milliseconds");
        QTest::newRow("5") << 5000;
        QTest::newRow("５") << 5000;
        for (const char *useless : {"", "abc", "0", "-3", "0.5", "99999999999"})
            QTest::newRow(useless) << 10000;
        QTest::newRow("2.5") << 2000;
        QTest::newRow("3.5") << 4000;
        QTest::newRow("60") << 60000; // beyond 16 bits of milliseconds
        QTest::newRow("2147483647") << std::numeric_limits<int>::max();
    }
    void intervalsFromTimeDelay()
    {
        m_console->configure(u"+861"_s, u"3"_s, QString::fromUtf8(QTest::currentDataTag()));
        ServiceStart start({m_console->office.clock, m_console->office.registry, m_console->office.session,
                            m_console->modem},
                           m_console->window);
        QTEST(start.scanIntervalMilliseconds(), "milliseconds");
    }

    void runsUntilStopIsConfirmed()
    {
        const SimulatorProcess modem;
        startOn(modem);
        QCOMPARE(caption() + status(), u"停止正在运行..."_s);

        m_console->boxes.answers = {false, false, true};
        pressStart();
        m_console->window.m_Stop_Click();
        QCOMPARE(m_console->boxes.shown, QStringList(2, u"确实要停止短信服务器吗？"_s));
        QVERIFY(m_console->modem.isPortOpen());
        QCOMPARE(m_console->endings, 0);

        pressStart();
        QCOMPARE(m_console->takeLog(), QStringList{u"释放 COM3端口成功！"_s});
        QCOMPARE(caption() + status(), u"启动服务未启动..."_s);
        QCOMPARE(m_console->panel(OperatorConsole::ToSend), u"准备就绪"_s);
        QVERIFY(!m_console->modem.isPortOpen());
        QCOMPARE(m_console->endings, 1);
    }

    void unattendedItSaysOnceThatItTriesAndOnceThatItHasSucceeded()
    {
        m_console->configure(u"+8613800100500"_s, u"3"_s, u"1"_s);
        const QString there = m_console->office.connectString();
        pointAt(u"Provider=SQLite;Data Source=\"%1\""_s.arg(m_console->office.path(u"away"_s)));
        int tries = 0;
        connect(again(), &QTimer::timeout, this, [&tries] { ++tries; });
        m_console->window.startUnattended();
        QTRY_VERIFY(tries >= 2);
        QCOMPARE(m_console->takeLog(),
                 QStringList({u"数据库连接失败"_s, u"启动未成功，每隔 1 秒自动重试，直到成功"_s}));
        // The database comes back; the modem is still away, for at least two tries.
        pointAt(there);
        QTRY_VERIFY(tries >= 5);
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
