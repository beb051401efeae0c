#include "console/Twips.h"
#include "console/frmParm.h"
#include "tests/console/ConsoleFixture.h"

#include <QAccessible>
#include <QDesktopServices>
#include <QScrollBar>
#include <QTest>
#include <array>

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

class WindowTest : public QObject
{
    Q_OBJECT

private:
    static constexpr QSize smallest{pixelsFromTwips(8625), pixelsFromTwips(8040)}; // with the frame
    std::unique_ptr<ConsoleFixture> m_console;

private slots:
    void init()
    {
        m_console = std::make_unique<ConsoleFixture>();
        m_console->window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&m_console->window));
    }
    void cleanup() { m_console.reset(); }

    void noTextIsCut()
    {
        const auto labels = m_console->window.findChildren<QLabel *>();
        for (const QLabel *label : labels) {
            const QString text = label->text();
            QVERIFY2(label->fontMetrics().horizontalAdvance(text) <= label->contentsRect().width(),
                     qPrintable(label->objectName()));
            QVERIFY2(label->fontMetrics().height() <= label->height(), qPrintable(label->objectName()));
        }
    }

    void sizes_data()
    {
        QTest::addColumn<QSize>("asked"); // without the frame
        QTest::newRow("too narrow") << QSize(smallest.width() - 1, 700);
        QTest::newRow("too low") << QSize(800, smallest.height() - 1);
        QTest::newRow("smallest") << smallest;
        QTest::newRow("large") << QSize(1600, 1200);
    }
    void sizes()
    {
        QFETCH(QSize, asked);
        auto &window = m_console->window;
        const std::array counters{OperatorConsole::ToSend, OperatorConsole::Succeeded,
                                  OperatorConsole::Failed};
        window.resize(1000, 1000);
        for (const auto panel : counters)
            window.setPanelText(panel, u"7"_s);
        window.setPanelText(OperatorConsole::Time, u"-"_s);
        window.resize(asked);
        const QSize frame = window.frameGeometry().size() - window.size();
        QCOMPARE(
            window.frameGeometry().size(),
            QSize(asked.width() < smallest.width() ? smallest.width() : asked.width() + frame.width(),
                  asked.height() < smallest.height() ? smallest.height() : asked.height() + frame.height()));
        const QWidget *bar = m_console->child<QWidget>("StatusBar");
        const int top = pixelsFromTwips(1110);
        QCOMPARE(m_console->child<QWidget>("SMSLog")->geometry(),
                 QRect(0, top, window.width(), window.height() - bar->height() - top));
        QCOMPARE(bar->geometry(), QRect(0, window.height() - bar->height(), window.width(), bar->height()));
        QCOMPARE(m_console->child<QWidget>("StatusBarPanel11")->width(), window.width());
        for (const auto panel : counters)
            QCOMPARE(window.panelText(panel), u"0"_s);
        QCOMPARE(window.panelText(OperatorConsole::Time), u"2006-03-05 07:08:09"_s);
    }

    void restoringLaysOutAgain()
    {
        auto &window = m_console->window;
        window.showMinimized();
        window.setPanelText(OperatorConsole::Failed, u"7"_s);
        window.resize(window.size() + QSize(1, 1)); // minimised it does nothing
        QCOMPARE(window.panelText(OperatorConsole::Failed), u"7"_s);
        window.showNormal();
        QTRY_COMPARE(window.panelText(OperatorConsole::Failed), u"0"_s);
        m_console->office.clock.advanceSeconds(1); // the clock ticks while the service is stopped
        QTRY_COMPARE_WITH_TIMEOUT(m_console->panel(OperatorConsole::Time), u"2006-03-05 07:08:10"_s, 1500);
    }

    void everyControlHasANameForAScreenReader()
    {
        WindowMessageBoxes boxes;
        frmParm dialog(m_console->office.session, m_console->office.registry, boxes, &m_console->window);
        for (QWidget *window :
             {static_cast<QWidget *>(&m_console->window), static_cast<QWidget *>(&dialog)}) {
            for (QWidget *widget : window->findChildren<QWidget *>()) {
                if (widget->window() == window && (widget->focusPolicy() & Qt::TabFocus) != 0)
                    QVERIFY2(
                        !QAccessible::queryAccessibleInterface(widget)->text(QAccessible::Name).isEmpty(),
                        qPrintable(widget->objectName()));
            }
        }
    }

    void theKeyboardReachesEveryControlInOrder()
    {
        QStringList order;
        auto *widget = m_console->child<QWidget>("btnOp");
        do {
            if ((widget->focusPolicy() & Qt::TabFocus) != 0)
                order += widget->objectName();
            widget = widget->nextInFocusChain();
        } while (widget->objectName() != u"btnOp"_s);
        QCOMPARE(order.first(4), QStringList({u"btnOp"_s, u"Command1"_s, u"lblUrl"_s, u"SMSLog"_s}));
        QTest::keyClick(widget, Qt::Key_Return);
        QVERIFY(!m_console->boxes.shown.isEmpty()); // it asks for the missing settings
    }

    void logLinesAreOneLineEachNewestFirst()
    {
        m_console->window.addLogLine(u"先"_s);
        m_console->window.addLogLine(u"后\r\n两\u2028行\0"_s);
        QCOMPARE(m_console->child<LogBox>("SMSLog")->toPlainText(),
                 u"2006-03-05 07:08:09 后  两 行 \n2006-03-05 07:08:09 先\n"_s);
    }

    void theLinkLightsUpUnderThePointerAndOpensItsAddress()
    {
        Browser browser;
        auto *link = m_console->child<LinkLabel>("lblUrl");
        const auto looksHovered = [link] {
            return link->font().underline() && link->palette().color(QPalette::WindowText) == Qt::red;
        };
        const auto looksAtRest = [link] {
            return !link->font().underline() && link->palette().color(QPalette::WindowText) == Qt::blue;
        };
        QVERIFY(looksAtRest());
        QTest::mouseMove(link, link->rect().center());
        QTRY_VERIFY(looksHovered());
        QTest::mouseMove(&m_console->window, QPoint(300, 300));
        QTRY_VERIFY(looksAtRest());

        QTest::mousePress(link, Qt::LeftButton);
        QTest::mouseRelease(link, Qt::LeftButton, {}, QPoint(-20, 5)); // let go outside: no click
        QTest::mouseClick(link, Qt::RightButton);
        QCOMPARE(browser.addresses, QStringList());

        QTest::mouseMove(link, link->rect().center());
        QTRY_VERIFY(looksHovered());
        QTest::mouseClick(link, Qt::LeftButton);
        QVERIFY(looksAtRest());
        QCOMPARE(browser.addresses, QStringList{link->text()});
        QTest::keyClick(link, Qt::Key_Return);
        QCOMPARE(browser.addresses.size(), 2);
    }

    void thePopupMenuHasItsItemsAndTheFirstIsTheDefault()
    {
        Browser browser;
        auto *menu = m_console->window.menu();
        QStringList captions;
        QStringList names;
        for (const QAction *action : menu->actions()) {
            captions += action->isSeparator() ? u"-"_s : action->text();
            names += action->objectName();
        }
        QCOMPARE(captions, QStringList({u"打开日志"_s, u"-"_s, u"关于Korvalin"_s, u"-"_s, u"关闭服务"_s}));
        QCOMPARE(names, QStringList({u"m_log"_s, u"m_l1"_s, u"m_about"_s, u"m_l2"_s, u"m_Stop"_s}));
        QCOMPARE(menu->defaultAction(), menu->actions().constFirst());
        menu->actions().at(2)->trigger();
        m_console->office.registry.write(Settings::localPath("MakerUrl"_L1), u"http://maker.test/"_s);
        menu->actions().at(2)->trigger();
        QCOMPARE(browser.addresses, QStringList({QStringLiteral(SMS_MAKER_URL), u"http://maker.test/"_s}));
        m_console->window.hide();
        menu->actions().at(0)->trigger();
        QVERIFY(m_console->window.isVisible());
        menu->actions().at(4)->trigger();
        QCOMPARE(m_console->endings, 1);
    }

    void theLogKeepsItsPlaceWhenScrolledAwayAndItsTextCanBeCopied()
    {
        auto *log = m_console->child<LogBox>("SMSLog");
        for (int line = 0; line < 200; ++line)
            log->prependLine(u"line %1"_s.arg(line));
        QCOMPARE(log->verticalScrollBar()->value(), 0);
        QCOMPARE(log->firstVisibleLine(), u"line 199"_s);
        log->verticalScrollBar()->setValue(50);
        const QString shown = log->firstVisibleLine();
        QCOMPARE(shown, u"line 149"_s);
        log->prependLine(u"new"_s);
        QCOMPARE(log->firstVisibleLine(), shown);
        log->verticalScrollBar()->setValue(0);
        log->prependLine(u"newer"_s);
        QCOMPARE(log->firstVisibleLine(), u"newer"_s);

        // A line that is too long can be scrolled to its end, whatever width the window had before.
        QCOMPARE(log->horizontalScrollBar()->maximum(), 0);
        log->prependLine(QString(200, u'x'));
        const auto reach = [log] { return log->horizontalScrollBar()->maximum() + log->viewport()->width(); };
        const int longest = reach();
        m_console->window.resize(m_console->window.size() + QSize(100, 0));
        QCOMPARE(reach(), longest);
        QVERIFY(longest > log->viewport()->width());
        log->prependLine(u"newer"_s);

        // A selection survives new lines.
        log->moveCursor(QTextCursor::Start);
        log->moveCursor(QTextCursor::EndOfLine, QTextCursor::KeepAnchor);
        log->prependLine(u"newest"_s);
        QCOMPARE(log->textCursor().selectedText(), u"newer"_s);

        // What is sought is found once and again from the top.
        QVERIFY(log->findNext(u"line 9"_s) && log->findNext(u"line 199"_s) && !log->findNext(u"line 200"_s));
        QCOMPARE(log->textCursor().selectedText(), u"line 199"_s);
    }
};

QTEST_MAIN(WindowTest)
#include "WindowTest.moc"
