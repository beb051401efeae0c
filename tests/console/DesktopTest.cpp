#include "tests/console/Desktop.h"
#include "console/Twips.h"
#include "foundation/Settings.h"
#include "tests/support/Office.h"
#include "tests/support/ServerProcess.h"
#include "tests/support/SimulatorProcess.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

/// Milliseconds that a condition may take to come true on a machine that is busy with other work.
constexpr int patience = 60000;

constexpr QPoint btnOp = rectFromTwips(7665, 165, 900, 390).center();
constexpr QPoint Command1 = rectFromTwips(7665, 630, 900, 390).center();

} // namespace

/// The built program on a real desktop, as the operator meets it.
class DesktopTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Desktop> m_desktop;
    std::unique_ptr<Office> m_office;
    std::unique_ptr<ServerProcess> m_server;

    [[nodiscard]] static QString main() { return Desktop::window(u"Brenmoor"_s); }
    void start(const QStringList &options)
    {
        m_server = std::make_unique<ServerProcess>(m_office->registry.fileName(), options);
    }
    static void waitFor(const QString &title)
    {
        QTRY_VERIFY_WITH_TIMEOUT(!Desktop::window(title).isEmpty(), patience);
        QTRY_COMPARE_WITH_TIMEOUT(Desktop::say({u"getactivewindow"_s}), Desktop::window(title), patience);
    }
    static void waitForMain() { waitFor(u"Brenmoor"_s); }
    static void waitUntilGone(const QString &title)
    {
        QTRY_COMPARE_WITH_TIMEOUT(Desktop::window(title), QString(), patience);
    }
    static void pressIn(const QString &title, const QString &keys)
    {
        waitFor(title);
        Desktop::press(keys);
        waitUntilGone(title);
    }
    static void clickIcon(int button = 1, int times = 1)
    {
        Desktop::click(Desktop::notificationArea(), {12, 12}, button, times);
    }
    static void openMenu()
    {
        clickIcon(3);
        QTRY_VERIFY_WITH_TIMEOUT(!Desktop::window(u"系统菜单"_s).isEmpty(), patience);
    }
    static void waitForIcon(bool isThere)
    {
        QTRY_COMPARE_WITH_TIMEOUT(Desktop::outerSizeOf(Desktop::notificationArea()).width() >= 24, isThere,
                                  patience);
    }
    void waitForEnd()
    {
        QTRY_COMPARE_WITH_TIMEOUT(m_server->state(), QProcess::NotRunning, patience);
        QCOMPARE(m_server->exitStatus(), QProcess::NormalExit);
        QCOMPARE(m_server->exitCode(), 0);
        QVERIFY(m_server->log().endsWith(u"释放 COM3端口成功！\n"_s));
    }
    void queueMessage(const QString &number)
    {
        m_office->oa(u"insert into SMS_Queues (ToMB, MsgContent, MsgStatus) values (?, '下午开会', '0')"_s,
                     {number});
    }
    void sends(const SimulatorProcess &modem, const QString &number)
    {
        queueMessage(number);
        QTRY_COMPARE_WITH_TIMEOUT(modem.sent().isEmpty() ? QString() : modem.sent().last().number, number,
                                  patience);
    }

private slots:
    void initTestCase() { m_desktop = std::make_unique<Desktop>(); }
    void init() { m_office = std::make_unique<Office>(); }
    void cleanup()
    {
        m_server.reset();
        waitForIcon(false);
    }
    void cleanupTestCase() { m_desktop.reset(); }

    void anOperatorsDay()
    {
        const SimulatorProcess modem;
        m_office->registry.write(Settings::comDevicePath(3), modem.devicePath());
        start({});
        waitForMain();
        waitForIcon(true);

        // Configure: Enter with no port is refused, then the keyboard alone fills the dialog.
        Desktop::click(main(), Command1);
        waitFor(u"参数设置"_s);
        Desktop::press(u"Return"_s);
        pressIn(u"系统提示"_s, u"Return"_s);
        waitFor(u"参数设置"_s);
        Desktop::type(u"com 3"_s);
        Desktop::press(u"Tab"_s);
        Desktop::type(u"+8613800100500"_s);
        Desktop::press(u"Tab ctrl+a 1 Return"_s);
        pressIn(u"系统提示"_s, u"Return"_s);
        waitUntilGone(u"参数设置"_s);
        waitForMain(); // it has the focus again
        Desktop::click(main(), btnOp);
        QTRY_VERIFY_WITH_TIMEOUT(m_server->log().contains(u"连接 COM3端口成功！"_s), patience);

        // Closed to the notification area it goes on; the icon's left button brings it back.
        pressIn(u"Brenmoor"_s, u"alt+F4"_s);
        sends(modem, u"13800000001"_s);
        clickIcon();
        waitForMain();
        clickIcon(1, 2); // no toggling
        // The popup menu's first item does the same.
        pressIn(u"Brenmoor"_s, u"alt+F4"_s);
        openMenu();
        Desktop::press(u"Down Return"_s);
        waitForMain();

        // Stop: Escape is Cancel, OK ends.
        Desktop::click(main(), btnOp);
        pressIn(u"系统提示"_s, u"Escape"_s);
        sends(modem, u"13800000002"_s);
        Desktop::click(main(), btnOp);
        pressIn(u"系统提示"_s, u"Tab Return"_s);
        waitForEnd();
    }

    void theOuterSizeHasItsMinimum()
    {
        start({});
        waitForMain();
        const QSize smallest(pixelsFromTwips(8625), pixelsFromTwips(8040));
        QTRY_COMPARE_WITH_TIMEOUT(Desktop::outerSizeOf(main()).width(), smallest.width(), patience);
        Desktop::xdotool(u"windowsize %1 200 100"_s.arg(main()));
        QTRY_COMPARE_WITH_TIMEOUT(Desktop::outerSizeOf(main()), smallest, patience);
    }

    void aSecondStartBringsTheWindowUpAndOnlyThatRestoresAMinimisedOne()
    {
        start({u"--hidden"_s});
        waitForIcon(true);
        QVERIFY(main().isEmpty());
        const auto startAgain = [this] {
            ServerProcess second(m_office->registry.fileName(), {});
            QVERIFY(second.waitForFinished(patience));
            QCOMPARE(second.exitCode(), 0);
            QVERIFY2(second.errors().contains(u"已请它显示窗口"_s), qPrintable(second.errors()));
            waitForMain();
        };
        startAgain();
        Desktop::xdotool(u"windowminimize "_s + main());
        waitUntilGone(u"Brenmoor"_s);
        clickIcon();
        openMenu(); // once it is there the press before it has been dealt with
        QVERIFY(main().isEmpty());
        Desktop::press(u"Escape"_s);
        startAgain();
    }

    void theScreenFollowsALongPassAndTheStopSignalFinishesTheMessageInHand()
    {
        constexpr int messages = 12;
        SimulatorProcess modem({u"--latency"_s, u"400"_s});
        m_office->configureModem(modem.devicePath(), 1);
        for (int i = 0; i < messages; ++i)
            queueMessage(QString::number(13800000000 + i));
        start({u"--start"_s});
        waitForMain();
        QTRY_VERIFY_WITH_TIMEOUT(modem.sent().size() >= 2, patience);
        const QImage before = Desktop::picture(main());
        QTRY_VERIFY_WITH_TIMEOUT(Desktop::picture(main()) != before, patience);
        QVERIFY(modem.sent().size() < messages); // still the same pass

        // The windowing system's threads do not keep the signal from being heard.
        m_server->terminate();
        waitForEnd();
        QCOMPARE(m_office->rows(u"select ToMB from SMS_Queues where MsgStatus='8'"_s).size(),
                 modem.sent().size());
    }
};

QTEST_GUILESS_MAIN(DesktopTest)
#include "DesktopTest.moc"
