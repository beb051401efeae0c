#include "tests/console/Desktop.h"
#include "console/Twips.h"
#include "foundation/Settings.h"
#include "tests/support/SimulatorProcess.h"
#include "tests/support/TestOffice.h"

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
    std::unique_ptr<TestOffice> m_office;
    std::unique_ptr<QProcess> m_server;

    [[nodiscard]] QString main() const { return m_desktop->window(u"Brenmoor"_s); }
    [[nodiscard]] QString box() const { return m_desktop->window(u"系统提示"_s); }
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
    void waitForMain()
    {
        QTRY_VERIFY_WITH_TIMEOUT(!main().isEmpty(), patience);
        QTRY_COMPARE_WITH_TIMEOUT(m_desktop->focusedWindow(), main(), patience);
    }
    void waitForBox(const QString &title)
    {
        QTRY_VERIFY_WITH_TIMEOUT(!m_desktop->window(title).isEmpty(), patience);
        QTRY_COMPARE_WITH_TIMEOUT(m_desktop->focusedWindow(), m_desktop->window(title), patience);
    }
    void queueMessage(const QString &number)
    {
        m_office->oa(u"insert into SMS_Queues (SOAID, ToUser, ToMB, MsgContent, MsgStatus, RetryCount) "
                     "values (-1, '', ?, '下午开会', '0', 0)"_s,
                     {number});
    }
    [[nodiscard]] QStringList results()
    {
        return m_office->rows(u"select ToMB, IsSuccess from SMS_ResultDetail order by OAID"_s);
    }

private slots:
    void init()
    {
        m_office = std::make_unique<TestOffice>();
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
        QTRY_VERIFY_WITH_TIMEOUT(m_desktop->sizeOf(m_desktop->notificationArea()).width() >= 24,
                                 patience); // the icon is there

        // Configure: Enter with no port is refused, then the keyboard alone fills the dialog.
        m_desktop->click(main(), Command1);
        waitForBox(u"参数设置"_s);
        m_desktop->press({u"Return"_s});
        waitForBox(u"系统提示"_s);
        m_desktop->press({u"Return"_s});
        QTRY_VERIFY_WITH_TIMEOUT(box().isEmpty(), patience);
        waitForBox(u"参数设置"_s);
        m_desktop->type(u"com 3"_s);
        m_desktop->press({u"Tab"_s});
        m_desktop->type(u"+8613800100500"_s);
        m_desktop->press({u"Tab"_s, u"ctrl+a"_s});
        m_desktop->type(u"1"_s);
        m_desktop->press({u"Return"_s});
        waitForBox(u"系统提示"_s);
        m_desktop->press({u"Return"_s});
        QTRY_VERIFY_WITH_TIMEOUT(m_desktop->window(u"参数设置"_s).isEmpty(), patience);
        QCOMPARE(m_office->registry.read(Settings::serverPortPath()), u"3"_s);
        QCOMPARE(m_office->registry.read(Settings::centerCodePath()), u"+8613800100500"_s);
        QCOMPARE(m_office->registry.read(Settings::timeDelayPath()), u"1"_s);

        m_desktop->click(main(), btnOp);
        QTRY_VERIFY_WITH_TIMEOUT(log().contains(u"连接 COM3端口成功！"_s), patience);
        queueMessage(u"13800000001"_s);
        QTRY_COMPARE_WITH_TIMEOUT(results(), QStringList{u"13800000001|1"_s}, patience);

        // Closed to the notification area it goes on; the icon's left button brings it back.
        m_desktop->press({u"alt+F4"_s});
        QTRY_VERIFY_WITH_TIMEOUT(main().isEmpty(), patience);
        queueMessage(u"13800000002"_s);
        QTRY_COMPARE_WITH_TIMEOUT(results().size(), 2, patience);
        m_desktop->click(m_desktop->notificationArea(), trayIcon);
        QTRY_VERIFY_WITH_TIMEOUT(!main().isEmpty(), patience);
        m_desktop->doubleClick(m_desktop->notificationArea(), trayIcon); // no change, and no toggling
        QVERIFY(!main().isEmpty());

        // The popup menu's first item does the same.
        waitForMain();
        m_desktop->press({u"alt+F4"_s});
        QTRY_VERIFY_WITH_TIMEOUT(main().isEmpty(), patience);
        m_desktop->click(m_desktop->notificationArea(), trayIcon, Desktop::Right);
        QTRY_VERIFY_WITH_TIMEOUT(!m_desktop->window(u"系统菜单"_s).isEmpty(), patience);
        m_desktop->press({u"Down"_s, u"Return"_s});
        QTRY_VERIFY_WITH_TIMEOUT(!main().isEmpty(), patience);

        // Stop: Escape is Cancel, OK ends.
        waitForMain();
        m_desktop->click(main(), btnOp);
        waitForBox(u"系统提示"_s);
        m_desktop->press({u"Escape"_s});
        QTRY_VERIFY_WITH_TIMEOUT(box().isEmpty(), patience);
        queueMessage(u"13800000003"_s);
        QTRY_COMPARE_WITH_TIMEOUT(results().size(), 3, patience);
        m_desktop->click(main(), btnOp);
        waitForBox(u"系统提示"_s);
        m_desktop->press({u"Tab"_s, u"Return"_s});
        QTRY_COMPARE_WITH_TIMEOUT(m_server->state(), QProcess::NotRunning, patience);
        QCOMPARE(m_server->exitCode(), 0);
        QVERIFY(log().endsWith(u"释放 COM3端口成功！\n"_s));
        QTRY_VERIFY_WITH_TIMEOUT(m_desktop->sizeOf(m_desktop->notificationArea()).width() < 24,
                                 patience); // and no icon is left
    }

    void aTooSmallWindowGrowsBack_data()
    {
        QTest::addColumn<bool>("byMouse");
        QTest::newRow("dragged") << true;
        QTest::newRow("told by another program") << false;
    }
    void aTooSmallWindowGrowsBack()
    {
        QFETCH(bool, byMouse);
        m_server = start();
        waitForMain();
        if (byMouse)
            m_desktop->dragCorner(main(), {-300, -300});
        else
            m_desktop->askForSize(main(), {200, 100});
        // The window manager's frame adds a pixel at the sides and a title bar.
        const QSize smallest(pixelsFromTwips(8625), pixelsFromTwips(8040));
        QTRY_VERIFY_WITH_TIMEOUT(m_desktop->sizeOf(main()).width() <= smallest.width() &&
                                     m_desktop->sizeOf(main()).width() >= smallest.width() - 10 &&
                                     m_desktop->sizeOf(main()).height() <= smallest.height() &&
                                     m_desktop->sizeOf(main()).height() >= smallest.height() - 40,
                                 patience);
    }

    void aMinimisedWindowStaysSoUntilAskedForByASecondStart()
    {
        m_server = start();
        waitForMain();
        m_desktop->minimise(main());
        QTRY_VERIFY_WITH_TIMEOUT(main().isEmpty(), patience);
        m_desktop->click(m_desktop->notificationArea(), trayIcon);
        // Once the menu is there the press before it has been dealt with.
        m_desktop->click(m_desktop->notificationArea(), trayIcon, Desktop::Right);
        QTRY_VERIFY_WITH_TIMEOUT(!m_desktop->window(u"系统菜单"_s).isEmpty(), patience);
        QVERIFY(main().isEmpty());
        m_desktop->press({u"Escape"_s});
        const auto second = start();
        QVERIFY(second->waitForFinished(patience));
        waitForMain();
    }

    void aSecondStartBringsTheHiddenWindowUp()
    {
        m_server = start({u"--hidden"_s});
        QTRY_VERIFY_WITH_TIMEOUT(m_desktop->sizeOf(m_desktop->notificationArea()).width() >= 24, patience);
        QVERIFY(main().isEmpty());
        const auto second = start();
        QVERIFY(second->waitForFinished(patience));
        QCOMPARE(second->exitCode(), 0);
        waitForMain();
        QCOMPARE(m_server->state(), QProcess::Running);
    }

    void theScreenFollowsALongPassAndTheStopSignalEndsIt()
    {
        const SimulatorProcess modem({u"--latency"_s, u"700"_s});
        m_office->registry.write(Settings::comDevicePath(3), modem.devicePath());
        m_office->registry.write(Settings::centerCodePath(), u"+8613800100500"_s);
        m_office->registry.write(Settings::serverPortPath(), u"3"_s);
        m_office->registry.write(Settings::timeDelayPath(), u"1"_s);
        for (int i = 0; i < 20; ++i)
            queueMessage(u"1380000%1"_s.arg(i));
        m_server = start({u"--start"_s});
        waitForMain();
        QTRY_VERIFY_WITH_TIMEOUT(modem.sent().size() >= 2, patience);
        const QImage before = m_desktop->picture(main());
        QTRY_VERIFY_WITH_TIMEOUT(modem.sent().size() >= 4, patience);
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
