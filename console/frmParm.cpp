#include "console/frmParm.h"

#include "foundation/DatabaseSession.h"
#include "foundation/NumericText.h"
#include "foundation/Settings.h"
#include "modem/line/SerialDevice.h"

#include <QComboBox>
#include <QFile>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QProcess>
#include <QPushButton>
#include <QStringDecoder>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace
{

constexpr int offeredPorts = 10;
constexpr QLatin1String portPrefix("COM");

/// COM3, com 3 and 3 all give 3.
QString portText(QString typed)
{
    typed = usualWidth(typed);
    typed.removeIf([](QChar character) { return character.isSpace(); });
    return typed.toUpper().remove(portPrefix);
}

/// A number that rounds to a whole 32-bit one above 0.
bool isPositive(const std::optional<double> &value)
{
    return value && wholeNumber(*value).value_or(0) > 0;
}

/// With the names by which it is found and read out.
template <typename Field>
Field *named(Field *field, const QString &name, const QString &meaning)
{
    field->setObjectName(name);
    field->setAccessibleName(meaning);
    return field;
}

QHBoxLayout *addGroup(QVBoxLayout &dialog, const QString &caption, const QString &label, QWidget *field)
{
    auto *group = new QGroupBox(caption);
    dialog.addWidget(group);
    auto *row = new QHBoxLayout(group);
    auto *before = new QLabel(label);
    before->setBuddy(field);
    row->addWidget(before);
    row->addWidget(field, 1);
    return row;
}

} // namespace

frmParm::frmParm(DatabaseSession &session, Registry &registry, MessageBoxes &boxes, QWidget *parent)
    : QDialog(parent), m_session(session), m_registry(registry), m_boxes(boxes)
{
    buildDialog();
}

void frmParm::buildDialog()
{
    setObjectName(u"frmParm"_s);
    setWindowTitle(u"参数设置"_s);
    setWindowFlags(Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowCloseButtonHint);
    auto *column = new QVBoxLayout(this);
    column->setSizeConstraint(QLayout::SetFixedSize);

    PortNumber = named(new QComboBox, u"PortNumber"_s, u"端口号"_s);
    PortNumber->setEditable(true);
    PortNumber->lineEdit()->setAccessibleName(PortNumber->accessibleName()); // the part that gets the focus
    PortNumber->setInsertPolicy(QComboBox::NoInsert);
    PortNumber->setCompleter(nullptr); // it would turn a typed "com1" into "COM10"
    addGroup(*column, u"GSM Modem 端口配置"_s, u"端口号："_s, PortNumber);
    CenterCode = named(new QLineEdit, u"CenterCode"_s, u"短信中心号码"_s);
    addGroup(*column, u"短信中心号码"_s, u"号  码："_s, CenterCode);
    txtTimeDelay = named(new QLineEdit, u"txtTimeDelay"_s, u"扫描时间间隔，秒"_s);
    addGroup(*column, u"扫描时间间隔"_s, u"每"_s, txtTimeDelay)->addWidget(new QLabel(u"秒钟检测一次"_s));

    auto *buttons = new QHBoxLayout;
    const auto addButton = [&](const QString &caption, const QString &name, void (frmParm::*press)()) {
        auto *button = named(new QPushButton(caption), name, caption);
        button->setAutoDefault(false);
        buttons->addWidget(button);
        connect(button, &QPushButton::clicked, this, press);
        return button;
    };
    btnTest = addButton(u"测试"_s, u"btnTest"_s, &frmParm::btnTest_Click);
    btnTest->setAccessibleDescription(u"检查已保存的参数、数据库、短信猫和邮箱"_s);
    btnTest->hide();
    buttons->addStretch();
    addButton(u"确定"_s, u"btnOK"_s, &frmParm::btnOK_Click)->setDefault(true);
    auto *Command1 = addButton(u"取消"_s, u"Command1"_s, &frmParm::Command1_Click);
    column->addLayout(buttons);
    setTabOrder(Command1, btnTest);
    PortNumber->setFocus();
}

void frmParm::Form_Load()
{
    if (!m_session.OpenDB()) {
        m_boxes.inform(u"数据库连接失败，成检查数据库是否安装正确"_s);
        return;
    }
    try {
        showStoredValues();
    } catch (const Fault &fault) {
        m_boxes.inform(u"参数读取失败："_s + fault.message());
    }
}

void frmParm::showStoredValues()
{
    for (int number = 1; number <= offeredPorts; ++number) {
        PortNumber->addItem(portPrefix + QString::number(number));
        const QString mapped = m_registry.read(Settings::comDevicePath(number));
        const QString device = mapped.isEmpty() ? serialDevice(number) : mapped;
        const QString presence = QFile::exists(device) ? u"%1（设备已接入）"_s : u"%1（没有此设备）"_s;
        PortNumber->setItemData(number - 1, presence.arg(device), Qt::ToolTipRole);
    }
    CenterCode->setText(m_registry.read(Settings::centerCodePath()));
    const QString port = m_registry.read(Settings::serverPortPath());
    const QString shownPort = port.isEmpty() ? QString() : portPrefix + port;
    PortNumber->setCurrentIndex(PortNumber->findText(shownPort));
    PortNumber->setEditText(shownPort);
    const QString delay = m_registry.read(Settings::timeDelayPath());
    txtTimeDelay->setText(delay.isEmpty() ? u"10"_s : delay);
}

void frmParm::btnOK_Click()
{
    try {
        if (!store())
            return;
    } catch (const Fault &fault) {
        m_boxes.inform(u"参数保存失败："_s + fault.message());
        return;
    }
    m_boxes.inform(u"参数保存成功"_s);
    accept();
}

bool frmParm::store()
{
    const QString port = portText(PortNumber->currentText());
    m_registry.write(Settings::centerCodePath(), CenterCode->text());
    if (!isPositive(numericValue(port))) {
        refuse(u"请选择正确的短信猫端口号"_s, PortNumber);
        return false;
    }
    m_registry.write(Settings::serverPortPath(), port);
    if (CenterCode->text().isEmpty()) {
        refuse(u"请输入短信中心号码！"_s, CenterCode);
        return false;
    }
    const auto seconds = numericValue(txtTimeDelay->text());
    if (!seconds) {
        refuse(u"请输入正确的检测时间间隔检测时间间隔必须是数字"_s, txtTimeDelay);
        return false;
    }
    if (!isPositive(seconds)) {
        refuse(u"检测时间间隔必须是数字"_s, txtTimeDelay);
        return false;
    }
    m_registry.write(Settings::timeDelayPath(), txtTimeDelay->text());
    return true;
}

void frmParm::setSelfCheck(std::function<QStringList()> selfCheck)
{
    m_selfCheck = std::move(selfCheck);
    btnTest->setVisible(m_selfCheck != nullptr);
}

void frmParm::btnTest_Click()
{
    QDialog page(this);
    page.setWindowTitle(u"测试"_s);
    page.resize(640, 320);
    auto *answers = new QPlainTextEdit;
    answers->setReadOnly(true);
    auto *close = new QPushButton(u"关闭"_s);
    auto *column = new QVBoxLayout(&page);
    column->addWidget(answers);
    column->addWidget(close, 0, Qt::AlignRight);
    connect(close, &QPushButton::clicked, &page, &QDialog::accept);
    QProcess check;
    QStringDecoder decode(QStringDecoder::Utf8);
    check.setProcessChannelMode(QProcess::MergedChannels);
    connect(&check, &QProcess::readyRead, &page, [&] { answers->insertPlainText(decode(check.readAll())); });
    connect(&check, &QProcess::errorOccurred, &page,
            [&] { answers->insertPlainText(u"无法运行检查程序：%1"_s.arg(check.errorString())); });
    QStringList command = m_selfCheck();
    check.start(command.takeFirst(), command);
    page.exec();
    check.disconnect(&page);
    check.kill();
    check.waitForFinished();
}

void frmParm::refuse(const QString &text, QWidget *field)
{
    m_boxes.inform(text);
    field->setFocus();
}
