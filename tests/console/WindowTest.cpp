#include "console/Twips.h"
#include "console/frmMain.h"
#include "console/frmParm.h"
#include "tests/support/Office.h"
#include "tests/support/ScriptedBoxes.h"

#include <QAccessible>
#include <QDesktopServices>
#include <QLabel>
#include <QScrollBar>
#include <QTest>

using namespace Qt::StringLiterals;

/// What the desktop's browser would have been asked to open.
class Browser : public QObject
{
    Q_OBJECT
public:
    Browser() { QDesktopServices::setUrlHandler(u"http"_s, this, "open"); }
    ~Browser() override { QDesktopServices::unsetUrlHandler(u"http"_s); }
    QStringList addresses;

public slots:
    void open(const QUrl &address) { addresses += address.toString(); }
};

/// The main window in an office of its own, on a service that can be started and never finds a modem.
class ConsoleFixture
{
public:
    ConsoleFixture()
    {
        QObject::connect(&service, &Service::ended, &window, [this] { ++endings; });
    }

    template <typename Widget>
    [[nodiscard]] Widget *child(const char *name) const
    {
        return window.findChild<Widget *>(QString::fromLatin1(name));
    }
    /// What the status bar shows.
    [[nodiscard]] QString panel(OperatorConsole::Panel panel) const
    {
        return window.findChild<QLabel *>(QStringLiteral("StatusBarPanel%1").arg(panel))->text();
    }

    Office office;
    ScriptedBoxes boxes;
    ModemControl modem{office.clock, [this](int) { return device; }};
    QString device = office.path(QStringLiteral("no-modem"));
    int endings = 0;
    const ServerParts parts{office.clock, office.registry, office.session, modem};
    ConsoleSignals console{office.clock};
    Service service{parts, console, boxes};
    frmMain window{parts, service, console, boxes};
};

class WindowTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<ConsoleFixture> m_console;
    std::unique_ptr<frmParm> m_dialog;

private slots:
    void init()
    {
        m_dialog.reset();
        m_console = std::make_unique<ConsoleFixture>();
        m_dialog = std::make_unique<frmParm>(m_console->office.session, m_console->office.registry,
                                             m_console->boxes, nullptr);
        m_console->window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&m_console->window));
    }
    void cleanupTestCase()
    {
        m_dialog.reset();
        m_console.reset();
    }

    void theTextsAreThoseOfTheDesignAndNoneIsCut()
    {
        m_console->console.showActivity(u"忙"_s);
        QVERIFY(m_console->window.windowTitle().endsWith(u" - 忙"_s));
        m_console->console.showActivity({});
        const QList<std::pair<const QWidget *, QString>> design{
            {&m_console->window,
             u"Brenmoor网络协同办公系统短信平台服务器|启动|配置|关于Korvalin|" SMS_PRODUCT_URL
             "|BrenmoorOA SMS  Server 2007|短信平台服务器 V2.0|"
             "状态|等待...|待发|0|成功|0|失败|0|时间|2006-03-05 07:08:09"_s},
            {m_dialog.get(),
             u"参数设置|GSM Modem 端口配置|端口号：|短信中心号码|号  码：|扫描时间间隔|每|秒钟检测一次|"
             "测试|确定|取消"_s},
            {m_console->window.menu(), u"系统菜单|系统菜单|打开日志|关于Korvalin|关闭服务"_s}};
        for (const auto &[window, texts] : design) {
            QStringList said{window->windowTitle()};
            for (const QObject *part : window->findChildren<QObject *>()) {
                for (const char *property : {"title", "text"}) {
                    if (const QString text = part->property(property).toString(); !text.isEmpty())
                        said += text;
                }
            }
            QCOMPARE(said.join(u'|'), texts);
        }
        for (const QLabel *label : m_console->window.findChildren<QLabel *>()) {
            QVERIFY2(label->fontMetrics().horizontalAdvance(label->text()) <= label->contentsRect().width(),
                     qPrintable(label->objectName()));
            QVERIFY2(label->fontMetrics().height() <= label->height(), qPrintable(label->objectName()));
        }
    }

    void everyResizeLaysOutAndStartsTheCountersAgain()
    {
        auto &window = m_console->window;
        const QWidget *bar = m_console->child<QWidget>("StatusBar");
        m_console->office.clock.advanceSeconds(1); // the clock ticks while the service is stopped
        QTRY_COMPARE(m_console->panel(OperatorConsole::Time), u"2006-03-05 07:08:10"_s);
        const int top = pixelsFromTwips(1110);
        QString texts;
        for (const auto panel :
             {OperatorConsole::ToSend, OperatorConsole::Succeeded, OperatorConsole::Failed})
            m_console->console.setPanelText(panel, u"7"_s);
        window.resize(1600, 1200);
        for (const auto panel :
             {OperatorConsole::ToSend, OperatorConsole::Succeeded, OperatorConsole::Failed})
            texts += m_console->panel(panel);
        QCOMPARE(texts, u"000"_s);
        const int barTop = window.height() - bar->height();
        QCOMPARE(m_console->child<QWidget>("SMSLog")->geometry(), QRect(0, top, 1600, barTop - top));
        QCOMPARE(bar->geometry(), QRect(0, barTop, 1600, bar->height()));
        QCOMPARE(m_console->child<QWidget>("StatusBarPanel11")->width(), 1600);
        window.showMinimized();
        m_console->console.setPanelText(OperatorConsole::Failed, u"7"_s);
        window.resize(window.size() + QSize(1, 1)); // minimised it does nothing
        QCOMPARE(m_console->panel(OperatorConsole::Failed), u"7"_s);
        window.showNormal();
        QTRY_COMPARE(m_console->panel(OperatorConsole::Failed), u"0"_s);
    }

    void theKeyboardReachesEveryControlInOrderAndEachHasANameForAScreenReader()
    {
        auto *btnOp = m_console->child<QWidget>("btnOp");
        const QList<std::pair<QWidget *, QString>> windows{
            {btnOp, u"btnOp Command1 lblUrl SMSLog"_s},
            {m_dialog->findChild<QWidget *>(u"PortNumber"_s),
             u"PortNumber CenterCode txtTimeDelay btnOK Command1 btnTest"_s}};
        for (const auto &[first, names] : windows) {
            QStringList order;
            QWidget *widget = first;
            do {
                if ((widget->focusPolicy() & Qt::TabFocus) != 0) {
                    order += widget->objectName();
                    QVERIFY2(
                        !QAccessible::queryAccessibleInterface(widget)->text(QAccessible::Name).isEmpty(),
                        qPrintable(order.last()));
                }
                widget = widget->nextInFocusChain();
            } while (widget != first);
            order.removeAll(QString()); // parts of another
            QCOMPARE(order.join(u' '), names);
        }
        QTest::keyClick(btnOp, Qt::Key_Return);
        QVERIFY(!m_console->boxes.takeShown().isEmpty()); // it asks for the missing settings
    }

    void logLinesAreOneLineEachNewestFirst()
    {
        m_console->console.addLogLine(u"先"_s);
        m_console->console.addLogLine(u"后\r\n两\u2028行\ufdd0\ufdd1\0"_s);
        QCOMPARE(m_console->child<LogBox>("SMSLog")->toPlainText(),
                 u"2006-03-05 07:08:09 后  两 行   \n2006-03-05 07:08:09 先\n"_s);
    }

    void theCaptionFollowsTheServiceAndAPictureOfTheEndShowsWhatTheOperatorSaw()
    {
        auto *btnOp = m_console->child<QPushButton>("btnOp");
        const SimulatorProcess modem;
        m_console->device = modem.devicePath();
        m_console->office.configureModem({}, 60);
        btnOp->click();
        m_console->boxes.answers = {false, true};
        m_console->window.m_Stop_Click();
        QCOMPARE(btnOp->text() + m_console->panel(OperatorConsole::Status), u"停止正在运行..."_s);
        btnOp->click();
        m_console->window.resize(1000, 1000);
        QCOMPARE(btnOp->text() + m_console->panel(OperatorConsole::ToSend), u"启动准备就绪"_s);
    }

    void theLinkLightsUpUnderThePointerAndOpensItsAddress()
    {
        Browser browser;
        auto *link = m_console->child<LinkLabel>("lblUrl");
        for (const bool isAtLink : {true, false, true}) {
            QTest::mouseMove(&m_console->window,
                             isAtLink ? link->geometry().bottomRight() : QPoint(300, 300));
            QTRY_COMPARE(link->styleSheet().contains(u"red; text-decoration: underline"_s), isAtLink);
        }
        QTest::mouseClick(link, Qt::LeftButton);
        QVERIFY(link->styleSheet().contains(u"blue; text-decoration: none"_s));
        QTest::keyClick(link, Qt::Key_Return);
        QCOMPARE(browser.addresses, QStringList(2, link->text()));
    }

    void thePopupMenuActsAndItsFirstItemIsTheDefault()
    {
        Browser browser;
        auto *menu = m_console->window.menu();
        QCOMPARE(menu->defaultAction()->objectName(), u"m_log"_s);
        const auto choose = [menu](const QString &item) { menu->findChild<QAction *>(item)->trigger(); };
        choose(u"m_about"_s);
        m_console->office.set(u"MakerUrl"_s, u"http://maker.test/"_s);
        choose(u"m_about"_s);
        QCOMPARE(browser.addresses, QStringList({QStringLiteral(SMS_MAKER_URL), u"http://maker.test/"_s}));
        choose(u"m_Stop"_s);
        QCOMPARE(m_console->endings, 1);
    }

    void theLogKeepsItsPlaceAndSelectionAndFindsFromTheTopAgain()
    {
        auto *log = m_console->child<LogBox>("SMSLog");
        for (int line = 0; line < 200; ++line)
            log->prependLine(u"line %1"_s.arg(line));
        log->verticalScrollBar()->setValue(50);
        log->prependLine(u"new"_s);
        QCOMPARE(log->firstVisibleLine(), u"line 149"_s);
        log->verticalScrollBar()->setValue(0);
        log->moveCursor(QTextCursor::Start);
        log->moveCursor(QTextCursor::EndOfLine, QTextCursor::KeepAnchor);
        log->prependLine(u"newest"_s);
        QCOMPARE(log->firstVisibleLine() + log->textCursor().selectedText(), u"newestnew"_s);
        QVERIFY(log->findNext(u"line 9"_s) && log->findNext(u"line 199"_s) && !log->findNext(u"line 200"_s));
        QCOMPARE(log->textCursor().selectedText(), u"line 199"_s);
    }
};

QTEST_MAIN(WindowTest)
#include "WindowTest.moc"
