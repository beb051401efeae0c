#include "console/frmParm.h"
#include "foundation/Settings.h"
#include "tests/support/Office.h"
#include "tests/support/ScriptedBoxes.h"
#include "tests/support/TextTable.h"

#include <QComboBox>
#include <QLineEdit>

using namespace Qt::StringLiterals;

class frmParmTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Office> m_office;
    ScriptedBoxes m_boxes;
    std::unique_ptr<frmParm> m_dialog;

    void open()
    {
        m_dialog = std::make_unique<frmParm>(m_office->session, m_office->registry, m_boxes, nullptr);
        m_dialog->Form_Load();
        m_dialog->show();
        QVERIFY(QTest::qWaitForWindowActive(m_dialog.get()));
    }
    [[nodiscard]] QComboBox *port() const { return m_dialog->findChild<QComboBox *>(u"PortNumber"_s); }
    [[nodiscard]] QLineEdit *centre() const { return m_dialog->findChild<QLineEdit *>(u"CenterCode"_s); }
    [[nodiscard]] QLineEdit *delay() const { return m_dialog->findChild<QLineEdit *>(u"txtTimeDelay"_s); }
    [[nodiscard]] QString shown() const
    {
        return port()->currentText() + u';' + centre()->text() + u';' + delay()->text();
    }
    /// Fills the boxes and presses OK.
    void pressOk(const QString &portText, const QString &centreText, const QString &delayText)
    {
        port()->setEditText(portText);
        centre()->setText(centreText);
        delay()->setText(delayText);
        QTest::mouseClick(m_dialog->findChild<QWidget *>(u"btnOK"_s), Qt::LeftButton);
    }
    /// The settings in the order of the boxes.
    [[nodiscard]] QString stored() const
    {
        const auto &registry = m_office->registry;
        return registry.read(Settings::serverPortPath()) + u';' + registry.read(Settings::centerCodePath()) +
               u';' + registry.read(Settings::timeDelayPath());
    }

private slots:
    void init()
    {
        m_office = std::make_unique<Office>();
        m_office->configure(u"old"_s, u"9"_s, u"99"_s);
    }
    void cleanup()
    {
        m_dialog.reset(); // before what it refers to
        static_cast<void>(m_boxes.takeShown());
    }

    void freshMachine()
    {
        m_office->configure({}, {}, {});
        m_office->registry.write(Settings::comDevicePath(2), u"/dev/serial/by-id/gsm"_s);
        m_office->session.Conn().close();
        open();
        QVERIFY(m_office->session.Conn().isOpen()); // opening replaces the shared connection
        QCOMPARE(m_boxes.takeShown() + shown(), u";;10"_s);
        QCOMPARE(port()->count(), 10);
        QCOMPARE(port()->itemText(0) + port()->itemText(9), u"COM1COM10"_s);
        QVERIFY(port()->itemData(0, Qt::ToolTipRole).toString().startsWith(u"/dev/ttyS0"_s)); // there or not
        QVERIFY(port()->itemData(1, Qt::ToolTipRole).toString().startsWith(u"/dev/serial/by-id/gsm"_s));
    }

    void absentDatabaseLeavesTheBoxesEmptyAndTheDialogUsable()
    {
        m_office->registry.write(Settings::connectStringPath(), {});
        open();
        QCOMPARE(m_boxes.takeShown(), u"数据库连接失败，成检查数据库是否安装正确"_s);
        QCOMPARE(port()->count(), 0);
        QCOMPARE(shown(), u";;"_s);
        pressOk(u"COM4"_s, u"+861"_s, u"7"_s);
        QCOMPARE(stored(), u"4;+861;7"_s);
    }

    void ok_data()
    {
        addRows(uR"(
            case             | port          | centre   | delay | stored       | focus        | box
            whole            | COM3          | " +1 2 " | 2.5   | 3; +1 2 ;2.5 |              | 参数保存成功
            blanks and case  | " c O m 1 2 " | +1       | 3600  | 12;+1;3600   |              | 参数保存成功
            full width       | ＣＯＭ　３    | ＋８６   | ５    | 3;＋８６;５  |              | 参数保存成功
            no port          |               | +1       | 5     | 9;+1;99      | PortNumber   | 请选择正确的短信猫端口号
            port 0.5         | 0.5           | +1       | 5     | 9;+1;99      | PortNumber   | 请选择正确的短信猫端口号
            no centre number | 7             |          | 5     | 7;;99        | CenterCode   | 请输入短信中心号码！
            delay in words   | 7             | +1       | 5s    | 7;+1;99      | txtTimeDelay | 请输入正确的检测时间间隔检测时间间隔必须是数字
            delay 0          | 7             | +1       | 0     | 7;+1;99      | txtTimeDelay | 检测时间间隔必须是数字
            )"_s);
    }
    void ok()
    {
        open();
        QCOMPARE(shown(), u"COM9;old;99"_s);
        pressOk(cell("port"), cell("centre"), cell("delay"));
        QCOMPARE(m_boxes.takeShown(), cell("box"));
        QCOMPARE(stored(), cell("stored"));
        QCOMPARE(m_dialog->isVisible(), !cell("focus").isEmpty());
        if (m_dialog->isVisible())
            QVERIFY(m_dialog->findChild<QWidget *>(cell("focus"))->hasFocus());
    }

    void settingsThatCannotBeWrittenLoseNothingTyped()
    {
        open();
        QFile file(m_office->registry.fileName());
        QVERIFY(file.remove() && QDir().mkdir(file.fileName())); // a folder in the file's place
        pressOk(u"COM3"_s, u"+861380"_s, u"99"_s);
        QVERIFY(m_boxes.takeShown().startsWith(u"参数保存失败："_s));
        QVERIFY(m_dialog->isVisible());
        QCOMPARE(shown(), u"COM3;+861380;99"_s);
    }
};

QTEST_MAIN(frmParmTest)
#include "frmParmTest.moc"
