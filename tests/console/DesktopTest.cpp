#include "console/Twips.h"
#include "tests/support/Office.h"
#include "tests/support/ServerProcess.h"

#include <QRegularExpression>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

constexpr QPoint btnOp = rectFromTwips(7665, 165, 900, 390).center();
constexpr QPoint Command1 = rectFromTwips(7665, 630, 900, 390).center();

QString said(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    process.waitForFinished(patience);
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

QString xdotool(const QString &words)
{
    return said(u"xdotool"_s, words.split(u' '));
}

/// The one on the screen whose title contains the text; "" when there is none.
QString window(const QString &title)
{
    return xdotool(u"search --onlyvisible --name "_s + title).section(u'\n', -1);
}
QString mainWindow()
{
    return window(u"Brenmoor"_s);
}
QString notificationArea()
{
    return xdotool(u"search --onlyvisible --class trayer"_s).section(u'\n', -1);
}

/// With its frame.
QSize outerSizeOf(const QString &window)
{
    if (window.isEmpty()) // which the tools would take as a wish to choose one with the mouse
        return {};
    static const QRegularExpression form(
        u"Width: (\\d+)\\s+Height: (\\d+)[^=]*(?:= (\\d+), (\\d+), (\\d+), (\\d+))?"_s);
    const auto match = form.match(said(u"xwininfo"_s, {u"-id"_s, window}).section(u"Depth"_s, 0, 0) +
                                  said(u"xprop"_s, {u"-id"_s, window, u"_NET_FRAME_EXTENTS"_s}));
    const auto number = [&](int capture) { return match.captured(capture).toInt(); };
    return {number(1) + number(3) + number(4), number(2) + number(5) + number(6)};
}

/// at: within the window. button: 1 left, 3 right.
void click(const QString &window, QPoint at, int button = 1, int times = 1)
{
    xdotool(u"mousemove --window %1 %2 %3 click --repeat %4 --delay 50 %5"_s.arg(window)
                .arg(at.x())
                .arg(at.y())
                .arg(times)
                .arg(button));
}
void clickIcon(int button = 1, int times = 1)
{
    click(notificationArea(), {12, 12}, button, times);
}
/// Keys by their X names, one after the other, for example "Tab", "alt+F4".
void press(const QString &keys)
{
    xdotool(u"key "_s + keys);
}

void waitFor(const QString &title)
{
    QTRY_VERIFY_WITH_TIMEOUT(!window(title).isEmpty() && xdotool(u"getactivewindow"_s) == window(title),
                             patience);
}
void waitUntilGone(const QString &title)
{
    QTRY_COMPARE_WITH_TIMEOUT(window(title), QString(), patience);
}
void pressIn(const QString &title, const QString &keys)
{
    waitFor(title);
    press(keys);
    waitUntilGone(title);
}
void openMenu()
{
    clickIcon(3);
    QTRY_VERIFY_WITH_TIMEOUT(!window(u"系统菜单"_s).isEmpty(), patience);
}
void waitForIcon(bool isThere)
{
    QTRY_COMPARE_WITH_TIMEOUT(outerSizeOf(notificationArea()).width() >= 24, isThere, patience);
}

} // namespace

/// The built program on a real desktop, as the operator meets it: X server, window manager, notification area; driven
/// with real mouse and keyboard events.
class DesktopTest : public QObject
{
    Q_OBJECT

private:
    QProcess m_screen;
    QProcess m_windowManager;
    std::unique_ptr<Office> m_office;
    std::unique_ptr<ServerProcess> m_server;

    void start(const QStringList &options)
    {
        m_server = std::make_unique<ServerProcess>(m_office->registry.fileName(), options);
        waitForIcon(true);
    }
    void sends(const SimulatorProcess &modem, const QString &number)
    {
        m_office->add(u"SMS_Queues"_s, u"ToMB, MsgContent, MsgStatus"_s, {number + u"|下午开会|0"_s});
        QTRY_COMPARE_WITH_TIMEOUT(modem.sent().isEmpty() ? QString() : modem.sent().last().number, number,
                                  patience);
    }

private slots:
    void initTestCase()
    {
        // It takes a free number and writes it when it is ready.
        m_screen.start(u"Xvfb"_s, u"-displayfd 1 -screen 0 1024x768x24 -nolisten tcp -noreset"_s.split(u' '));
        QTRY_VERIFY_WITH_TIMEOUT(m_screen.canReadLine(), patience);
        qputenv("DISPLAY", ":" + m_screen.readLine().trimmed());
        qputenv("QT_QPA_PLATFORM", "xcb");
        qunsetenv("DBUS_SESSION_BUS_ADDRESS");
        // Started by the window manager when that is ready: a panel that comes earlier may stay unseen for ever.
        m_windowManager.start(
            u"openbox"_s,
            {u"--startup"_s,
             u"trayer --edge bottom --align right --widthtype request --height 24 --SetDockType true"_s});
        QTRY_VERIFY_WITH_TIMEOUT(!notificationArea().isEmpty(), patience);
    }
    void init() { m_office = std::make_unique<Office>(); }
    void cleanup()
    {
        m_server.reset();
        waitForIcon(false);
    }
    void cleanupTestCase()
    {
        for (QProcess *process : {&m_windowManager, &m_screen}) { // and with it what else shows itself there
            process->terminate();
            QVERIFY(process->waitForFinished(patience));
        }
    }

    void anOperatorsDay()
    {
        const SimulatorProcess modem;
        m_office->set(u"COM3"_s, modem.devicePath());
        start({});
        waitFor(u"Brenmoor"_s);

        // Configure: Enter with no port is refused, then the keyboard alone fills the dialog.
        click(mainWindow(), Command1);
        waitFor(u"参数设置"_s);
        press(u"Return"_s);
        pressIn(u"系统提示"_s, u"Return"_s);
        waitFor(u"参数设置"_s);
        said(u"xdotool"_s, {u"type"_s, u"com 3"_s});
        press(u"Tab"_s);
        xdotool(u"type +8613800100500"_s);
        press(u"Tab ctrl+a 1 Return"_s);
        pressIn(u"系统提示"_s, u"Return"_s);
        waitUntilGone(u"参数设置"_s);
        waitFor(u"Brenmoor"_s); // it has the focus again
        click(mainWindow(), btnOp);
        QTRY_VERIFY_WITH_TIMEOUT(m_server->log().contains(u"连接 COM3端口成功！"_s), patience);

        // Closed to the notification area it goes on; the icon's left button brings it back.
        pressIn(u"Brenmoor"_s, u"alt+F4"_s);
        sends(modem, u"13800000001"_s);
        clickIcon();
        waitFor(u"Brenmoor"_s);
        clickIcon(1, 2); // no toggling
        // The popup menu's first item does the same.
        pressIn(u"Brenmoor"_s, u"alt+F4"_s);
        openMenu();
        press(u"Down Return"_s);
        waitFor(u"Brenmoor"_s);

        // Stop: Escape is Cancel, OK ends.
        click(mainWindow(), btnOp);
        pressIn(u"系统提示"_s, u"Escape"_s);
        sends(modem, u"13800000002"_s);
        click(mainWindow(), btnOp);
        pressIn(u"系统提示"_s, u"Tab Return"_s);
        QTRY_COMPARE_WITH_TIMEOUT(m_server->state(), QProcess::NotRunning, patience);
        QCOMPARE(m_server->exitCode(), 0);
        QVERIFY(m_server->log().endsWith(u"释放 COM3端口成功！\n"_s));
    }

    void aSecondStartBringsTheWindowUpAndOnlyThatRestoresAMinimisedOne()
    {
        start({u"--hidden"_s});
        QVERIFY(mainWindow().isEmpty());
        const auto startAgain = [this] {
            ServerProcess second(m_office->registry.fileName(), {});
            QVERIFY(second.waitForFinished(patience));
            QVERIFY2(second.errors().contains(u"已请它显示窗口"_s), qPrintable(second.errors()));
            waitFor(u"Brenmoor"_s);
        };
        startAgain();
        const QSize smallest(pixelsFromTwips(8625), pixelsFromTwips(8040)); // with the frame
        QTRY_COMPARE_WITH_TIMEOUT(outerSizeOf(mainWindow()).width(), smallest.width(), patience);
        xdotool(u"windowsize %1 200 100"_s.arg(mainWindow()));
        QTRY_COMPARE_WITH_TIMEOUT(outerSizeOf(mainWindow()), smallest, patience);
        xdotool(u"windowminimize "_s + mainWindow());
        waitUntilGone(u"Brenmoor"_s);
        clickIcon();
        openMenu(); // once it is there the press before it has been dealt with
        QVERIFY(mainWindow().isEmpty());
        press(u"Escape"_s);
        startAgain();
    }
};

QTEST_GUILESS_MAIN(DesktopTest)
#include "DesktopTest.moc"
