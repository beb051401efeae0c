#include "tests/console/Desktop.h"
#include "console/Twips.h"
#include "foundation/Settings.h"
#include "tests/support/Office.h"
#include "tests/support/SimulatorProcess.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

/// Milliseconds that a condition may take to come true on a machine that is busy with other work.
constexpr int patience = 60000;

} // namespace

/// The built program on a real desktop, as the operator meets it.
class DesktopTest : public QObject
{
    Q_OBJECT

private:
    static constexpr QPoint btnOp = rectFromTwips(7665, 165, 900, 390).center();
    static constexpr QPoint Command1 = rectFromTwips(7665, 630, 900, 390).center();
    static constexpr QPoint trayIcon{12, 12};

    std::unique_ptr<Desktop> m_desktop;
    std::unique_ptr<Office> m_office;
    std::unique_ptr<QProcess> m_server;

    [[nodiscard]] QString main() const { return m_desktop->window(u"Brenmoor"_s); }
    [[nodiscard]] std::unique_ptr<QProcess> start(const QStringList &more = {}) const
    {
        return m_desktop->run(QStringLiteral(SERVER_PROGRAM),
                              QStringList{u"--settings"_s, m_office->registry.fileName(), u"--log-file"_s,
                                          m_office->path(u"log"_s)} +
                                  more);
    }
    [[nodiscard]] QString log() const
    {
        QFile file(m_office->path(u"log"_s));
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }
    void waitFor(const QString &title)
    {
        QTRY_VERIFY_WITH_TIMEOUT(!m_desktop->window(title).isEmpty(), patience);
        QTRY_COMPARE_WITH_TIMEOUT(m_desktop->xdotool({u"getactivewindow"_s}), m_desktop->window(title),
                                  patience);
    }
    void waitUntilGone(const QString &title)
    {
        QTRY_VERIFY_WITH_TIMEOUT(m_desktop->window(title).isEmpty(), patience);
    }
    void waitForMain() { waitFor(u"Brenmoor"_s); }
    void answerBox(const QStringList &keys)
    {
        waitFor(u"系统提示"_s);
        m_desktop->press(keys);
        waitUntilGone(u"系统提示"_s);
    }
    void waitForIcon(bool isThere)
    {
        QTRY_COMPARE_WITH_TIMEOUT(m_desktop->sizeOf(m_desktop->notificationArea()).width() >= 24, isThere,
                                  patience);
    }
    void queueMessage(const QString &number)
    {
        m_office->oa(u"insert into SMS_Queues (SOAID, ToUser, ToMB, MsgContent, MsgStatus, RetryCount) "
                     "values (-1, '', ?, '下午开会', '0', 0)"_s,
                     {number});
    }
    void sends(const QString &number)
    {
        queueMessage(number);
        QTRY_COMPARE_WITH_TIMEOUT(
            m_office->rows(u"select IsSuccess from SMS_ResultDetail where ToMB=?"_s, {number}),
            QStringList{u"1"_s}, patience);
    }

private slots:
    void init()
    {
        m_office = std::make_unique<Office>();
        m_desktop = std::make_unique<Desktop>();
    }
    void cleanup()
    {
        if (m_server) {
            m_server->kill();
            m_server->waitForFinished();
            m_server.reset();
        }
        m_desktop.reset();
    }

    void anOperatorsDay()
    {
        const SimulatorProcess modem;
        m_office->registry.write(Settings::comDevicePath(3), modem.devicePath());
        m_server = start();
        waitForMain();
        waitForIcon(true);

        // Configure: Enter with no port is refused, then the keyboard alone fills the dialog.
        m_desktop->click(main(), Command1);
        waitFor(u"参数设置"_s);
        m_desktop->press({u"Return"_s});
        answerBox({u"Return"_s});
        waitFor(u"参数设置"_s);
        m_desktop->xdotool({u"type"_s, u"com 3"_s});
        m_desktop->press({u"Tab"_s});
        m_desktop->xdotool({u"type"_s, u"+8613800100500"_s});
        m_desktop->press({u"Tab"_s, u"ctrl+a"_s, u"1"_s, u"Return"_s});
        answerBox({u"Return"_s});
        waitUntilGone(u"参数设置"_s);
        waitForMain(); // it has the focus again
        m_desktop->click(main(), btnOp);
        QTRY_VERIFY_WITH_TIMEOUT(log().contains(u"连接 COM3端口成功！"_s), patience);
        sends(u"13800000001"_s);

        // Closed to the notification area it goes on; the icon's left button brings it back.
        m_desktop->press({u"alt+F4"_s});
        waitUntilGone(u"Brenmoor"_s);
        sends(u"13800000002"_s);
        m_desktop->click(m_desktop->notificationArea(), trayIcon);
        waitForMain();
        m_desktop->click(m_desktop->notificationArea(), trayIcon, Desktop::Left, 2); // no toggling
        // The popup menu's first item does the same.
        waitForMain();
        m_desktop->press({u"alt+F4"_s});
        waitUntilGone(u"Brenmoor"_s);
        m_desktop->click(m_desktop->notificationArea(), trayIcon, Desktop::Right);
        QTRY_VERIFY_WITH_TIMEOUT(!m_desktop->window(u"系统菜单"_s).isEmpty(), patience);
        m_desktop->press({u"Down"_s, u"Return"_s});
        waitForMain();

        // Stop: Escape is Cancel, OK ends.
        m_desktop->click(main(), btnOp);
        answerBox({u"Escape"_s});
        sends(u"13800000003"_s);
        m_desktop->click(main(), btnOp);
        answerBox({u"Tab"_s, u"Return"_s});
        QTRY_COMPARE_WITH_TIMEOUT(m_server->state(), QProcess::NotRunning, patience);
        QCOMPARE(m_server->exitCode(), 0);
        QVERIFY(log().endsWith(u"释放 COM3端口成功！\n"_s));
        waitForIcon(false);
    }

    void theOuterSizeHasItsMinimum()
    {
        m_server = start();
        waitForMain();
        const QSize smallest(pixelsFromTwips(8625), pixelsFromTwips(8040));
        const auto outer = [this] { return m_desktop->sizeOf(main()) + m_desktop->frameOf(main()); };
        QTRY_COMPARE_WITH_TIMEOUT(outer().width(), smallest.width(),
                                  patience); // as designed, whatever the frame
        m_desktop->dragCorner(main(), {-300, -300});
        QTRY_COMPARE_WITH_TIMEOUT(outer(), smallest, patience);
        m_desktop->xdotool({u"windowsize"_s, main(), u"200"_s, u"100"_s});
        QTRY_COMPARE_WITH_TIMEOUT(outer(), smallest, patience);
    }

    void aSecondStartBringsTheWindowUpAndOnlyThatRestoresAMinimisedOne()
    {
        m_server = start({u"--hidden"_s});
        waitForIcon(true);
        const auto startAgain = [this] {
            const auto second = start();
            QVERIFY(second->waitForFinished(patience));
            QCOMPARE(second->exitCode(), 0);
            waitForMain();
        };
        QVERIFY(main().isEmpty());
        startAgain();
        m_desktop->xdotool({u"windowminimize"_s, main()});
        waitUntilGone(u"Brenmoor"_s);
        m_desktop->click(m_desktop->notificationArea(), trayIcon);
        // Once the menu is there the press before it has been dealt with.
        m_desktop->click(m_desktop->notificationArea(), trayIcon, Desktop::Right);
        QTRY_VERIFY_WITH_TIMEOUT(!m_desktop->window(u"系统菜单"_s).isEmpty(), patience);
        QVERIFY(main().isEmpty());
        m_desktop->press({u"Escape"_s});
        startAgain();
    }

    void theScreenFollowsALongPassAndTheStopSignalEndsIt()
    {
        const SimulatorProcess modem({u"--latency"_s, u"700"_s});
        m_office->configureModem(modem.devicePath(), 1);
        for (int i = 0; i < 20; ++i)
            queueMessage(u"1380000%1"_s.arg(i));
        m_server = start({u"--start"_s});
        waitForMain();
        QTRY_VERIFY_WITH_TIMEOUT(modem.sent().size() >= 2, patience);
        const QImage before = m_desktop->picture(main());
        QTRY_VERIFY_WITH_TIMEOUT(m_desktop->picture(main()) != before, patience);
        QVERIFY(modem.sent().size() < 20); // still the same pass

        // The windowing system's threads do not keep the stop signal from finishing the message in hand.
        m_server->terminate();
        QTRY_COMPARE_WITH_TIMEOUT(m_server->state(), QProcess::NotRunning, patience);
        QCOMPARE(m_server->exitStatus(), QProcess::NormalExit);
        QCOMPARE(m_server->exitCode(), 0);
        QVERIFY(log().endsWith(u"释放 COM3端口成功！\n"_s));
        QCOMPARE(m_office->rows(u"select count(*) from SMS_Queues where MsgStatus='8'"_s),
                 QStringList{QString::number(modem.sent().size())});
    }
};

QTEST_GUILESS_MAIN(DesktopTest)
#include "DesktopTest.moc"
