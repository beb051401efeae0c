#include "app/SelfCheck.h"

#include "alerts/NewMail.h"
#include "database/NamedLock.h"
#include "database/Recordset.h"
#include "foundation/DatabaseSession.h"
#include "foundation/DatabaseTrial.h"
#include "foundation/OfficeTables.h"
#include "foundation/ServiceSettings.h"
#include "foundation/Settings.h"
#include "modem/ModemControl.h"
#include "service/ConsoleSignals.h"

#include <QFileInfo>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QStorageInfo>

using namespace Qt::StringLiterals;

namespace
{

/// Octets that a day of the server's own files never takes.
constexpr qint64 enoughRoom = 100 << 20;

/// The packaged service has these folders for itself, or not at all.
bool isHiddenFromService(const QString &device)
{
    static const QStringList hidden{u"/tmp/"_s, u"/var/tmp/"_s, u"/home/"_s, u"/root/"_s, u"/run/user/"_s};
    return std::any_of(hidden.cbegin(), hidden.cend(), [&](const auto &in) { return device.startsWith(in); });
}

QString askForSettings()
{
    return u"在主窗口点击“配置”填写，或用 --set 写入"_s;
}

void checkServiceCentre(const QString &number, CheckReport &report)
{
    static const QRegularExpression international(u"^\\+[0-9]{1,20}$"_s);
    static const QRegularExpression national(u"^[0-9]{1,20}$"_s);
    if (number.isEmpty())
        report.wrong(u"没有配置短信中心号码"_s, askForSettings());
    else if (international.match(number).hasMatch())
        report.well(u"短信中心号码 "_s + number);
    else if (national.match(number).hasMatch())
        report.wrong(u"短信中心号码 %1 没有国际前缀“+”，网络可能拒收短信"_s.arg(number),
                     u"写成国际格式，例如 +86 加号码"_s);
    else
        report.wrong(u"短信中心号码“%1”含有数字以外的字符"_s.arg(number),
                     u"只写“+”和最多 20 位数字，号码可向运营商查询"_s);
}

/// Columns are compared as the databases do: letter case does not count.
QStringList missingColumns(const OfficeTable &table, const QStringList &present)
{
    QStringList missing;
    for (const QString &column : table.columns) {
        if (!present.contains(column, Qt::CaseInsensitive))
            missing += column;
    }
    return missing;
}

bool checkTable(Connection &connection, const OfficeTable &table, CheckReport &report)
{
    try {
        // The name is one of our own list.
        const QStringList present =
            connection.query(u"select * from %1 where 1=0"_s.arg(table.name), {}).columns;
        const QStringList missing = missingColumns(table, present);
        if (missing.isEmpty())
            return true;
        report.wrong(u"数据表 %1 缺少列：%2"_s.arg(table.name, missing.join(u"、"_s)),
                     u"请 OA 系统管理员升级数据库结构"_s);
    } catch (const DatabaseFault &fault) {
        report.wrong(u"数据表 %1 不能读取：%2"_s.arg(table.name, fault.message()),
                     u"请确认连接字符串指向 OA 系统的数据库、数据表存在并且登录用户有权限"_s);
    }
    return false;
}

QString orUnknown(const QString &digits)
{
    return digits.isEmpty() ? u"未知"_s : digits;
}

QString modemRemedy(ModemResult result)
{
    switch (result) {
    case ModemResult::NoSuchPort:
        return u"请检查短信猫连线；需要时用 --set COMn=设备路径 指定设备，例如 --set COM3=/dev/ttyUSB0"_s;
    case ModemResult::PortBusy:
        return u"请关闭占用该设备的程序；短信服务器正在运行时，设备由它占用，此项属正常"_s;
    case ModemResult::PortDenied:
        return u"请把运行本程序的用户加入设备所属的组（通常是 dialout）并重新登录"_s;
    case ModemResult::PortFailed:
    case ModemResult::ModemSilent:
        return u"请检查短信猫的电源、连线和端口号"_s;
    case ModemResult::SimMissing:
        return u"请断电后插入 SIM 卡"_s;
    case ModemResult::SimLocked:
        return u"请先用手机取消 SIM 卡的 PIN 码，本程序不会尝试输入"_s;
    case ModemResult::SimFailure:
        return u"请更换 SIM 卡或检查卡座"_s;
    case ModemResult::PduModeRefused:
        return u"该设备不支持 PDU 模式短信，请更换短信猫"_s;
    case ModemResult::ServiceCentreInvalid:
    case ModemResult::ServiceCentreRefused:
        return u"请检查短信中心号码"_s;
    case ModemResult::Ok:
    case ModemResult::NumberInvalid:
    case ModemResult::TextTooLong:
    case ModemResult::Refused:
    case ModemResult::NotConfirmed:
    case ModemResult::FateUnknown:
    case ModemResult::PartlySent:
    case ModemResult::NoMessage:
    case ModemResult::MessageUnreadable:
        break;
    }
    return u"请检查短信猫"_s;
}

} // namespace

void checkFiles(const ServerParts &parts, CheckReport &report)
{
    if (const QString damage = parts.registry.damage(); !damage.isEmpty())
        report.wrong(damage + u"，可能已损坏"_s, u"用备份恢复参数文件，或删除它以后用 --set 重新写入"_s);
    for (const QString &folder : parts.folders) {
        const QStorageInfo disk(folder);
        if (!QFileInfo(folder).isWritable())
            report.wrong(
                u"文件夹 %1 不能写入"_s.arg(folder),
                u"请检查文件夹和它的权限；服务的参数以用户 sms-server 检查（runuser -u sms-server -- …）"_s);
        else if (disk.isValid() && disk.bytesAvailable() < enoughRoom)
            report.wrong(u"磁盘将满：%1 只剩 %2 MB"_s.arg(folder).arg(disk.bytesAvailable() / (1 << 20)),
                         u"删除不用的文件；程序的记录写不进去时会停止发送"_s);
    }
}

void checkSettings(const ServerParts &parts, CheckReport &report)
{
    const ServiceSettings settings = readServiceSettings(parts.registry);
    checkServiceCentre(settings.serviceCentre, report);
    if (settings.serverPort.isEmpty())
        report.wrong(u"没有指定 GSM Modem COM 端口"_s, askForSettings());
    for (const QString &name : Settings::shortNames()) {
        const auto [plain, problem] = Settings::read(parts.registry, name);
        if (name.startsWith("COM"_L1) && isHiddenFromService(plain) &&
            parts.folders.contains(u"/var/lib/sms-server"_s))
            report.wrong(u"系统服务的沙箱看不到短信猫设备 %1=%2"_s.arg(name, plain),
                         u"使用 /dev 中的设备，例如 /dev/serial/by-id 中的名字"_s);
        // The centre number and the connection string are told in words of their own.
        if (!problem.isEmpty() && name != u"CenterCode" && name != u"ConnectString")
            report.wrong(u"参数 %1=%2 不起作用：%3"_s.arg(
                             name, parts.registry.read(Settings::pathOf(name)).trimmed(), problem),
                         u"用 --set 写入"_s);
        else if (name.startsWith("Send"_L1) && name != u"SenderCountryCode" && !plain.isEmpty())
            report.well(u"发送限制 %1=%2"_s.arg(name, plain));
    }
}

namespace
{

/// Codes are obeyed for senders that the table names letter for letter; networks deliver +86138...
void checkNumberForm(const ServerParts &parts, CheckReport &report)
{
    if (!readServiceSettings(parts.registry).senderCountryCode.isEmpty())
        return;
    Connection &connection = parts.session.Conn();
    const auto count = [&connection](const QString &sql) {
        Recordset rows(connection);
        rows.open(sql);
        return rows.recordCount();
    };
    if (count(u"select OrderName from SMS_Order"_s) > 0 &&
        count(u"select Mobile from VO_UserInfor where Mobile like '1%' and AccountState='1'"_s) > 0)
        report.wrong(
            u"用户表中的手机号码写作 138... 的形式，而网络送来的号码带国家代码，短信订阅指令将不被识别"_s,
            u"用 --set SenderCountryCode=86 写入国家代码"_s);
}

/// Mails of before the first start: whoever has no watermark gets an alert of each.
void checkOldMail(const ServerParts &parts, CheckReport &report)
{
    ConsoleSignals nobody(parts.clock);
    FaultLog faults(nobody);
    AlertRecipients all(parts.session.Conn(), faults);
    MailHistory history({});
    history.beginPass();
    const NewMail mails(parts.session.Conn(), all, history, [] { return false; });
    size_t due = 0;
    for (const AlertRecipients::Recipient &recipient : all.recipients) {
        for (const AlertRecipients::Service &service : recipient.services)
            due += service.storedWatermark ? 0 : service.newMails.size();
    }
    if (due > 0)
        report.wrong(u"收件人还没有提醒记录，数据库中已有的邮件会当作新邮件提醒，共 %1 条"_s.arg(due),
                     u"不要提醒时，在启动之前运行 sms-server --skip-old-mail"_s);
}

void tryDatabase(Connection &connection, CheckReport &report)
{
    try {
        QList<DatabaseProblem> problems = triedWithoutRows(connection);
        // What is refused without a row needs none to be tried again.
        if (problems.isEmpty())
            problems = triedWithRows(connection);
        for (const DatabaseProblem &problem : std::as_const(problems))
            report.wrong(problem.what, problem.remedy);
        if (problems.isEmpty())
            report.well(u"数据表可以读写（试写的内容已撤销）"_s);
    } catch (const DatabaseFault &fault) {
        report.wrong(u"试写数据表时出错："_s + fault.message(), u"请检查数据库服务，再试一次"_s);
    }
}

/// Not while the service of these settings is there, which has the place itself.
void checkPlace(const ServerParts &parts, CheckReport &report)
{
    Connection &connection = parts.session.Conn();
    const bool isShared = readServiceSettings(parts.registry).areServersSeveral;
    try {
        if (!connection.isOpen() || connection.takePlace(isShared))
            return;
        report.wrong(isShared ? u"该数据库由一个没有设置 Servers=several 的短信服务器使用"_s
                              : u"该数据库由其他短信服务器使用，本服务器没有设置 Servers=several"_s,
                     u"让它们都设置 Servers=several，或只运行一个短信服务器"_s);
    } catch (const DatabaseFault &) {
        // Told before.
    }
}

} // namespace

void checkDatabase(const ServerParts &parts, CheckReport &report)
{
    if (parts.session.GetConnectString().isEmpty()) {
        report.wrong(u"没有数据库连接字符串"_s, u"由 OA 系统写入，或用 --set ConnectString=... 写入"_s);
        return;
    }
    if (!parts.session.OpenDB()) {
        report.wrong(u"数据库连接失败："_s + parts.session.openFailure(),
                     u"请检查连接字符串、数据库服务和登录用户"_s);
        return;
    }
    report.well(u"数据库已连接"_s);
    if (readServiceSettings(parts.registry).areServersSeveral) {
        if (NamedLock::whyUnsupported(parts.session.Conn()).isEmpty())
            report.well(u"多个短信服务器共用该数据库（Servers=several）"_s);
        else
            report.wrong(u"设置了 Servers=several，但该数据库没有会话锁，只能由一个短信服务器使用"_s,
                         u"改用 PostgreSQL、MariaDB、MySQL 或 SQL Server，或用 --set Servers= 清除"_s);
    }
    bool allPresent = true;
    for (const OfficeTable &table : officeTables())
        allPresent &= checkTable(parts.session.Conn(), table, report);
    if (!allPresent)
        return;
    report.well(u"数据表和列齐全"_s);
    tryDatabase(parts.session.Conn(), report);
    checkNumberForm(parts, report);
    checkOldMail(parts, report);
}

void checkModem(const ServerParts &parts, CheckReport &report)
{
    const ServiceSettings settings = readServiceSettings(parts.registry);
    if (!settings.comPort)
        return; // told by the settings
    QStringList notices;
    const auto listening = QObject::connect(&parts.modem, &ModemControl::notice,
                                            [&notices](const QString &text) { notices += text; });
    const auto leave = qScopeGuard([&] {
        static_cast<void>(parts.modem.close());
        QObject::disconnect(listening);
    });
    const int port = *settings.comPort;
    parts.modem.setPortNumber(*settings.comPort);
    parts.modem.setSpeed(settings.lineSpeed);
    // Nothing is written to the SIM card: it keeps the centre number it has.
    parts.modem.setServiceCentre({});
    const auto result = static_cast<ModemResult>(parts.modem.open());
    if (result != ModemResult::Ok) {
        report.wrong(u"COM%1 短信猫不能使用（代码 %2）"_s.arg(port).arg(int(result)) +
                         (notices.isEmpty() ? QString() : u"："_s + notices.join(u"；"_s)),
                     modemRemedy(result));
        return;
    }
    const ModemControl::Description found = parts.modem.describe();
    const ModemStatus status = parts.modem.askStatus();
    report.well(u"COM%1 短信猫应答正常（%2 波特，%3）"_s.arg(port)
                    .arg(found.baud)
                    .arg(status.model.isEmpty() ? u"型号未知"_s : status.model));
    report.well(
        u"IMEI 尾号 %1，SIM 卡尾号 %2，信号 %3 格"_s.arg(orUnknown(status.imeiEnd), orUnknown(status.simEnd))
            .arg(status.signalBars()));
    for (const QString &workaround : found.workarounds)
        report.well(u"短信猫特点："_s + workaround);
    for (const QString &trouble : status.troubles)
        report.wrong(trouble, u"请检查天线、信号和 SIM 卡状态"_s);
    if (status.troubles.isEmpty())
        report.well(u"已注册到网络"_s + (status.network.isEmpty() ? QString() : u"："_s + status.network));
}

void checkBusyModem(const ServerParts &parts, CheckReport &report)
{
    report.well(u"短信服务正在运行，COM%1 短信猫由它使用，这次不再试"_s.arg(
        Settings::read(parts.registry, u"ServerPort"_s).plain));
}

bool checkEverything(const ServerParts &parts, const CheckReport::Show &show, bool isServing)
{
    CheckReport report(show);
    for (const auto check : {checkFiles, checkDatabase, checkSettings,
                             isServing ? checkBusyModem : checkModem, checkMailAccounts})
        check(parts, report);
    if (!isServing)
        checkPlace(parts, report);
    show(report.isWell() ? u"一切正常"_s : u"有问题需要处理"_s);
    return report.isWell();
}
