#include "console/Twips.h"
#include "foundation/Settings.h"
#include "tests/support/Office.h"
#include "tests/support/ServerProcess.h"
#include "tests/support/SimulatorProcess.h"

#include <QProcess>
#include <QRegularExpression>
#include <QTest>
#include <array>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace
{

constexpr int startMilliseconds = 30000;

QByteArray output(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForFinished(startMilliseconds))
        throw std::runtime_error(program.toStdString() + ": " + process.errorString().toStdString());
    return process.readAllStandardOutput();
}

/// What the pattern captures, from 1 on; zeros where it does not match.
std::array<int, 5> numbers(const QByteArray &text, const QString &pattern)
{
    const auto match = QRegularExpression(pattern).match(QString::fromUtf8(text));
    std::array<int, 5> numbers = {};
    for (int i = 1; i <= match.lastCapturedIndex(); ++i)
        numbers.at(size_t(i)) = match.captured(i).toInt();
    return numbers;
}

void end(QProcess &process)
{
    process.terminate();
    if (!process.waitForFinished(2000))
        process.kill();
    process.waitForFinished();
}

/// A desktop of its own for the programs that the test starts from now on: X server, window manager,
/// notification area; driven with real mouse and keyboard events. Everything ends with the object. Throws
/// std::runtime_error when a part of it does not start.
class Desktop
{
public:
    Desktop()
    {
        // It takes a free number and writes it when it is ready.
        m_screen.start(u"Xvfb"_s, u"-displayfd 1 -screen 0 1024x768x24 -nolisten tcp -noreset"_s.split(u' '));
        while (!m_screen.canReadLine()) {
            if (!m_screen.waitForReadyRead(startMilliseconds))
                throw std::runtime_error("Xvfb does not get ready");
        }
        qputenv("DISPLAY", ":" + m_screen.readLine().trimmed());
        qputenv("QT_QPA_PLATFORM", "xcb");
        qunsetenv("DBUS_SESSION_BUS_ADDRESS");
        // Started by the window manager when that is ready: a panel that comes earlier may stay unseen for ever.
        m_windowManager.start(
            u"openbox"_s,
            {u"--startup"_s,
             u"trayer --edge bottom --align right --widthtype request --height 24 --SetDockType true"_s});
        if (!QTest::qWaitFor([] { return !notificationArea().isEmpty(); }, startMilliseconds))
            throw std::runtime_error("the notification area does not appear");
    }
    ~Desktop()
    {
        end(m_windowManager);
        end(m_screen); // and with it what else shows itself there
    }
    Desktop(const Desktop &) = delete;
    Desktop &operator=(const Desktop &) = delete;

    /// What the tool for X events says.
    static QString say(const QStringList &arguments)
    {
        return QString::fromUtf8(output(u"xdotool"_s, arguments)).trimmed();
    }
    static void xdotool(const QString &arguments) { say(arguments.split(u' ')); }

    /// The window on the screen whose title contains the text; "" when there is none.
    [[nodiscard]] static QString window(const QString &title)
    {
        return search(QStringLiteral("--name"), title);
    }
    [[nodiscard]] static QString notificationArea()
    {
        return search(QStringLiteral("--class"), QStringLiteral("trayer"));
    }
    /// The window's size with its frame.
    [[nodiscard]] static QSize outerSizeOf(const QString &window)
    {
        if (window.isEmpty()) // which the tools would take as a wish to choose one with the mouse
            return {};
        const auto size =
            numbers(output(u"xwininfo"_s, {u"-id"_s, window}), u"Width: (\\d+)\\s+Height: (\\d+)"_s);
        const auto frame = numbers(output(u"xprop"_s, {u"-id"_s, window, u"_NET_FRAME_EXTENTS"_s}),
                                   u"= (\\d+), (\\d+), (\\d+), (\\d+)"_s);
        return {size[1] + frame[1] + frame[2], size[2] + frame[3] + frame[4]};
    }
    /// position: within the window. button: 1 left, 3 right.
    static void click(const QString &window, QPoint position, int button = 1, int times = 1)
    {
        xdotool(u"mousemove --window %1 %2 %3 click --repeat %4 --delay 50 %5"_s.arg(window)
                    .arg(position.x())
                    .arg(position.y())
                    .arg(times)
                    .arg(button));
    }
    /// Keys by their X names, one after the other, for example "Tab", "alt+F4".
    static void press(const QString &keys) { xdotool(QStringLiteral("key ") + keys); }
    static void type(const QString &text) { say({QStringLiteral("type"), text}); }

private:
    [[nodiscard]] static QString search(const QString &what, const QString &text)
    {
        return say({QStringLiteral("search"), QStringLiteral("--onlyvisible"), what, text})
            .section(u'\n', -1);
    }

    QProcess m_screen;
    QProcess m_windowManager;
};

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
};

QTEST_GUILESS_MAIN(DesktopTest)
#include "DesktopTest.moc"
