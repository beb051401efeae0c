#include "console/frmParm.h"
#include "tests/console/ConsoleFixture.h"

#include <QComboBox>
#include <QLineEdit>
#include <QTest>

using namespace Qt::StringLiterals;

class frmParmTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Office> m_office;
    ScriptedBoxes::Script m_script;
    std::unique_ptr<ScriptedBoxes> m_boxes;
    std::unique_ptr<frmParm> m_dialog;

    void open()
    {
        m_script.shown.clear();
        m_dialog = std::make_unique<frmParm>(m_office->session, m_office->registry, *m_boxes, nullptr);
        m_dialog->Form_Load();
        m_dialog->show();
        QVERIFY(QTest::qWaitForWindowActive(m_dialog.get()));
    }
    [[nodiscard]] QComboBox *port() const { return m_dialog->findChild<QComboBox *>(u"PortNumber"_s); }
    [[nodiscard]] QLineEdit *centre() const { return m_dialog->findChild<QLineEdit *>(u"CenterCode"_s); }
    [[nodiscard]] QLineEdit *delay() const { return m_dialog->findChild<QLineEdit *>(u"txtTimeDelay"_s); }
    void pressOk() { QTest::mouseClick(m_dialog->findChild<QWidget *>(u"btnOK"_s), Qt::LeftButton); }
    [[nodiscard]] QStringList stored() const
    {
        return {m_office->registry.read(Settings::centerCodePath()),
                m_office->registry.read(Settings::serverPortPath()),
                m_office->registry.read(Settings::timeDelayPath())};
    }
    void store(const QStringList &values)
    {
        m_office->registry.write(Settings::centerCodePath(), values[0]);
        m_office->registry.write(Settings::serverPortPath(), values[1]);
        m_office->registry.write(Settings::timeDelayPath(), values[2]);
    }

private slots:
    void init()
    {
        m_office = std::make_unique<Office>();
        m_script = {};
        m_boxes = std::make_unique<ScriptedBoxes>(m_script);
    }
    void cleanup() { m_dialog.reset(); }

    void freshMachine()
    {
        m_office->registry.write(Settings::comDevicePath(2), u"/dev/serial/by-id/gsm"_s);
        m_office->session.Conn().close();
        open();
        QVERIFY(m_office->session.Conn().isOpen()); // opening replaces the shared connection
        QCOMPARE(m_script.shown, QStringList());
        QCOMPARE(m_dialog->windowTitle(), u"参数设置"_s);
        QCOMPARE(port()->currentText(), QString());
        QCOMPARE(port()->count(), 10);
        QCOMPARE(port()->itemText(0), u"COM1"_s);
        QCOMPARE(port()->itemText(9), u"COM10"_s);
        QVERIFY(port()->itemData(0, Qt::ToolTipRole).toString().startsWith(u"/dev/ttyS0"_s)); // there or not
        QVERIFY(port()->itemData(1, Qt::ToolTipRole).toString().startsWith(u"/dev/serial/by-id/gsm"_s));
        QCOMPARE(centre()->text(), QString());
        QCOMPARE(delay()->text(), u"10"_s);
    }

    void absentDatabaseLeavesTheBoxesEmptyAndTheDialogUsable()
    {
        store({u"+86"_s, u"3"_s, u"5"_s});
        m_office->registry.write(Settings::connectStringPath(), {});
        open();
        QCOMPARE(m_script.shown, QStringList{u"数据库连接失败，成检查数据库是否安装正确"_s});
        QCOMPARE(port()->count(), 0);
        QCOMPARE(port()->currentText() + centre()->text() + delay()->text(), QString());
        port()->setEditText(u"COM4"_s);
        QTest::keyClicks(centre(), u"+861"_s);
        QTest::keyClicks(delay(), u"7"_s);
        pressOk();
        QCOMPARE(stored(), QStringList({u"+861"_s, u"4"_s, u"7"_s}));
    }

    void ok_data()
    {
        QTest::addColumn<QString>("port");
        QTest::addColumn<QString>("centre");
        QTest::addColumn<QString>("delay");
        QTest::addColumn<QString>("shown");
        QTest::addColumn<QStringList>("storedAfter"); // before: old, 9, 99
        QTest::addColumn<QString>("focus");
        const auto row = [](const QString &port, const QString &centre, const QString &delay,
                            const QString &shown, const QString &storedAfter, const QString &focus = {}) {
            QTest::newRow(qPrintable(u"%1 | %2 | %3"_s.arg(port, centre, delay)))
                << port << centre << delay << shown << storedAfter.split(u'|') << focus;
        };
        const QString saved = u"参数保存成功"_s;
        row(u"COM3"_s, u" +1 2 "_s, u"2.5"_s, saved, u" +1 2 |3|2.5"_s);
        row(u" c O m 1 2 "_s, u"+1"_s, u"3600"_s, saved, u"+1|12|3600"_s);
        row(u"ＣＯＭ　３"_s, u"＋８６"_s, u"５"_s, saved, u"＋８６|3|５"_s);
        for (const auto &port : {u""_s, u"modem"_s, u"0"_s, u"-3"_s, u"0.5"_s, u"2147483648"_s, u"1e3"_s})
            row(port, u"+1"_s, u"5"_s, u"请选择正确的短信猫端口号"_s, u"+1|9|99"_s, u"PortNumber"_s);
        row(u"7"_s, u""_s, u"5"_s, u"请输入短信中心号码！"_s, u"|7|99"_s, u"CenterCode"_s);
        for (const auto &delay : {u"abc"_s, u""_s, u"5s"_s})
            row(u"7"_s, u"+1"_s, delay, u"请输入正确的检测时间间隔检测时间间隔必须是数字"_s, u"+1|7|99"_s,
                u"txtTimeDelay"_s);
        for (const auto &delay : {u"0"_s, u"-5"_s, u"0.4"_s, u"0.5"_s, u"99999999999"_s})
            row(u"7"_s, u"+1"_s, delay, u"检测时间间隔必须是数字"_s, u"+1|7|99"_s, u"txtTimeDelay"_s);
    }
    void ok()
    {
        QFETCH(QString, focus);
        store({u"old"_s, u"9"_s, u"99"_s});
        open();
        QFETCH(QString, port);
        this->port()->setEditText(port);
        QFETCH(QString, centre);
        this->centre()->setText(centre);
        QFETCH(QString, delay);
        this->delay()->setText(delay);
        pressOk();
        QTEST(m_script.shown.join(u'|'), "shown");
        QTEST(stored(), "storedAfter");
        QCOMPARE(m_dialog->isVisible(), !focus.isEmpty());
        if (!focus.isEmpty())
            QVERIFY(m_dialog->findChild<QWidget *>(focus)->hasFocus());
    }

    void settingsThatCannotBeWrittenLoseNothingTyped()
    {
        store({u"old"_s, u"9"_s, u"99"_s});
        open();
        port()->setEditText(u"COM3"_s);
        centre()->setText(u"+861380"_s);
        QFile file(m_office->registry.fileName());
        QVERIFY(file.remove() && QDir().mkdir(file.fileName())); // a folder in the file's place
        pressOk();
        QCOMPARE(m_script.shown.size(), 1);
        QVERIFY(m_script.shown.first().startsWith(u"参数保存失败："_s));
        QVERIFY(m_dialog->isVisible());
        QVERIFY(QDir().rmdir(file.fileName()));
        pressOk();
        QCOMPARE(stored(), QStringList({u"+861380"_s, u"3"_s, u"99"_s}));
    }

    void keyboard()
    {
        store({u"+861"_s, u"3"_s, u"5"_s});
        open();
        QCOMPARE(port()->currentText(), u"COM3"_s);
        QStringList order;
        QWidget *const first = QApplication::focusWidget();
        do {
            order += QApplication::focusWidget()->objectName();
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        } while (QApplication::focusWidget() != first && order.size() < 10);
        QCOMPARE(order, QStringList({u"PortNumber"_s, u"CenterCode"_s, u"txtTimeDelay"_s, u"btnOK"_s,
                                     u"Command1"_s}));

        delay()->setText(u"6"_s);
        QTest::keyClick(m_dialog.get(), Qt::Key_Escape);
        QVERIFY(!m_dialog->isVisible());
        QCOMPARE(stored().last(), u"5"_s);

        open();
        delay()->setFocus();
        delay()->setText(u"6"_s);
        QTest::keyClick(delay(), Qt::Key_Return);
        QVERIFY(!m_dialog->isVisible());
        QCOMPARE(stored(), QStringList({u"+861"_s, u"3"_s, u"6"_s})); // what was stored came back
    }
};

QTEST_MAIN(frmParmTest)
#include "frmParmTest.moc"
