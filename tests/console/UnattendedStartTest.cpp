#include "tests/console/ConsoleFixture.h"
#include "tests/support/SimulatorProcess.h"

#include <QTest>

using namespace Qt::StringLiterals;

class UnattendedStartTest : public QObject
{
    Q_OBJECT

private slots:
    void saysOnceThatItTriesAndOnceThatItHasSucceeded()
    {
        ConsoleFixture console;
        console.configure(u"+8613800100500"_s, u"3"_s, u"1"_s);
        const QString there = console.office.connectString();
        console.office.registry.write(
            Settings::connectStringPath(),
            u"Provider=SQLite;Data Source=\"%1\""_s.arg(console.office.path(u"away"_s)));
        int tries = 0;
        QObject::connect(console.window.findChild<QTimer *>(u"tStartAgain"_s), &QTimer::timeout,
                         &console.window, [&tries] { ++tries; });
        console.window.startUnattended();
        QTRY_VERIFY(tries >= 2);
        QCOMPARE(console.takeLog(),
                 QStringList({u"数据库连接失败"_s, u"启动未成功，每隔 1 秒自动重试，直到成功"_s}));

        // The database comes back; the modem is still away, for at least two tries.
        console.office.registry.write(Settings::connectStringPath(), there);
        const int before = tries;
        QTRY_VERIFY(tries >= before + 3);
        const QStringList log = console.takeLog();
        QCOMPARE(log.size(), 3);
        QCOMPARE(log.first(), u"成功连接数据库"_s);
        QCOMPARE(log.last(), u"连接 COM3失败，请检查连线是否正确。"_s);

        const SimulatorProcess modem;
        console.device = modem.devicePath();
        QTRY_VERIFY(console.window.isRunning());
        QCOMPARE(console.takeLog(), QStringList({u"连接 COM3端口成功！"_s, u"自动重试成功，服务已启动"_s}));
    }

    void missingSettingsEndTheTrying_data()
    {
        QTest::addColumn<QString>("centerCode");
        QTest::addColumn<QString>("serverPort");
        QTest::addColumn<bool>("hasConnectString");
        QTest::newRow("connection string") << u"+861"_s << u"3"_s << false;
        QTest::newRow("centre number") << u""_s << u"3"_s << true;
        QTest::newRow("port") << u"+861"_s << u""_s << true;
        QTest::newRow("port is no number") << u"+861"_s << u"COM"_s << true;
    }
    void missingSettingsEndTheTrying()
    {
        QFETCH(QString, centerCode);
        QFETCH(QString, serverPort);
        QFETCH(bool, hasConnectString);
        ConsoleFixture console;
        console.configure(centerCode, serverPort, u"1"_s);
        if (!hasConnectString)
            console.office.registry.write(Settings::connectStringPath(), {});
        console.window.startUnattended();
        QVERIFY(!console.window.findChild<QTimer *>(u"tStartAgain"_s)->isActive());
        QVERIFY(!console.window.isRunning());
        QVERIFY(!console.takeLog().join(u'\n').contains(u"自动重试"_s));
    }

    void theOperatorsOwnStartTakesOver()
    {
        ConsoleFixture console;
        console.configure(u"+861"_s, u"3"_s);
        console.window.startUnattended();
        auto *again = console.window.findChild<QTimer *>(u"tStartAgain"_s);
        QVERIFY(again->isActive());
        const QStringList first = console.takeLog();
        console.window.btnOp_Click();
        QVERIFY(!again->isActive());
        QCOMPARE(console.takeLog(), first.first(first.size() - 1)); // all of it again, but for the last line
    }
};

QTEST_MAIN(UnattendedStartTest)
#include "UnattendedStartTest.moc"
