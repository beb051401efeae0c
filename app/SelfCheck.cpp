#include "app/SelfCheck.h"

#include "alerts/NewMail.h"
#include "database/ConnectionString.h"
#include "database/NamedLock.h"
#include "foundation/DatabaseSession.h"
#include "foundation/DatabaseTrial.h"
#include "foundation/OfficeTables.h"
#include "foundation/ServiceSettings.h"
#include "foundation/Settings.h"
#include "modem/ModemControl.h"
#include "outgoing/SendLimits.h"
#include "service/ConsoleSignals.h"

#include <QDir>
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
    static const QRegularExpression hidden(u"^/(tmp|var/tmp|home|root|run/user)/"_s);
    return hidden.match(device).hasMatch();
}

/// The packaged service writes below these folders alone, unless an administrator's drop-in says otherwise.
bool isClosedToService(const ServerParts &parts, const QString &file)
{
    // A path of a socket is no file.
    return parts.folders.contains(u"/var/lib/sms-server"_s) && QFileInfo(file).isFile() &&
           !file.startsWith("/srv/"_L1) && !file.startsWith("/var/lib/sms-server/"_L1) &&
           QDir(u"/etc/systemd/system"_s).entryList({u"sms-server*.service.d"_s}).isEmpty();
}

QString askForSettings()
{
    return u"在主窗口点击“配置”填写，或用 --set 写入"_s;
}

bool checkTable(Connection &connection, const OfficeTable &table, CheckReport &report)
{
    try {
        // The name is one of our own list.
        const QStringList present =
            connection.query(u"select * from %1 where 1=0"_s.arg(table.name), {}).columns;
        QStringList missing = table.columns;
        missing.removeIf(
            [&](const QString &column) { return present.contains(column, Qt::CaseInsensitive); });
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

QString modemRemedy(ModemResult result)
{
    using enum ModemResult;
    static const QHash<ModemResult, QString> remedies{
        {NoSuchPort,
         u"请检查短信猫连线；需要时用 --set COMn=设备路径 指定设备，例如 --set COM3=/dev/ttyUSB0"_s},
        {PortBusy, u"请关闭占用该设备的程序；短信服务器正在运行时，设备由它占用，此项属正常"_s},
        {PortDenied, u"请把运行本程序的用户加入设备所属的组（通常是 dialout）并重新登录"_s},
        {SimMissing, u"请断电后插入 SIM 卡"_s},
        {SimLocked, u"请先用手机取消 SIM 卡的 PIN 码，本程序不会尝试输入"_s},
        {SimFailure, u"请更换 SIM 卡或检查卡座"_s},
        {PduModeRefused, u"该设备不支持 PDU 模式短信，请更换短信猫"_s},
    };
    return remedies.value(result, u"请检查短信猫的电源、连线和端口号"_s);
}

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
    const SettingValue centre = Settings::read(parts.registry, u"CenterCode"_s);
    if (centre.plain.isEmpty() && centre.problem.isEmpty())
        report.wrong(u"没有配置短信中心号码"_s, askForSettings());
    else if (centre.problem.isEmpty() && centre.plain.startsWith(u'+'))
        report.well(u"短信中心号码 "_s + centre.plain);
    else if (centre.problem.isEmpty())
        report.wrong(u"短信中心号码 %1 没有国际前缀“+”，网络可能拒收短信"_s.arg(centre.plain),
                     u"写成国际格式，例如 +86 加号码"_s);
    if (settings.serverPort.isEmpty())
        report.wrong(u"没有指定 GSM Modem COM 端口"_s, askForSettings());
    for (const QString &name : Settings::shortNames()) {
        const auto [plain, problem] = Settings::read(parts.registry, name);
        if (name.startsWith("COM"_L1) && isHiddenFromService(plain) &&
            parts.folders.contains(u"/var/lib/sms-server"_s))
            report.wrong(u"系统服务的沙箱看不到短信猫设备 %1=%2"_s.arg(name, plain),
                         u"使用 /dev 中的设备，例如 /dev/serial/by-id 中的名字"_s);
        if (!problem.isEmpty() && name != u"ConnectString") // which is told in words of its own
            report.wrong(u"参数 %1=%2 不起作用：%3"_s.arg(
                             name, parts.registry.read(Settings::pathOf(name)).trimmed(), problem),
                         u"用 --set 写入"_s);
        else if (name.startsWith("Send"_L1) && name != u"SenderCountryCode" && !plain.isEmpty())
            report.well(u"发送限制 %1=%2"_s.arg(name, plain));
    }
}

/// Why a message waits although all is well.
void checkLimits(const ServerParts &parts, CheckReport &report)
{
    const ServiceSettings settings = readServiceSettings(parts.registry);
    ConsoleSignals nobody(parts.clock);
    SendLimits limits(parts.clock, nobody, parts.sendLedgerFile);
    limits.set({settings.sendPerHour, settings.sendPerDay, settings.sendGap});
    try {
        const bool isDamaged = limits.look() == SendLedger::Found::Damaged;
        const auto hold = limits.hold(1);
        if (isDamaged)
            report.wrong(u"发送记录 %1 已损坏"_s.arg(parts.sendLedgerFile),
                         u"无需操作，启动后按发送上限已用完计算，等一小时（或一天）后自动继续"_s);
        else if (hold && hold->window.count() > 0) {
            const SendLimits::Rest rest = limits.restOf(*hold);
            report.wrong(u"已达发送上限 %1，暂停发送到 %2"_s.arg(
                             rest.limit, rest.until.toString(u"yyyy-MM-dd HH:mm:ss"_s)),
                         u"无需操作，到时自动继续；要发得更多时增加短信猫"_s);
        }
    } catch (const Fault &fault) {
        report.wrong(fault.message(), u"请检查磁盘和文件夹的权限"_s);
    }
}

/// Codes are obeyed for senders that the table names letter for letter; networks deliver +86138...
void checkNumberForm(const ServerParts &parts, CheckReport &report)
{
    if (!readServiceSettings(parts.registry).senderCountryCode.isEmpty())
        return;
    Connection &connection = parts.session.Conn();
    const auto isAny = [&connection](const QString &of) {
        return connection.firstValue(u"select count(*) from "_s + of, {}).value_or(0).toInt() > 0;
    };
    if (isAny(u"SMS_Order"_s) && isAny(u"VO_UserInfor where Mobile like '1%' and AccountState='1'"_s))
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

void tryDatabase(const ServerParts &parts, CheckReport &report)
{
    Connection &connection = parts.session.Conn();
    try {
        QList<DatabaseProblem> problems = triedWithoutRows(connection);
        // What is refused without a row needs none to be tried again.
        if (problems.isEmpty())
            problems = triedWithRows(connection);
        for (const DatabaseProblem &problem : std::as_const(problems))
            report.wrong(problem.what, problem.remedy);
        if (problems.isEmpty())
            report.well(u"数据表可以读写（试写的内容已撤销）"_s);
        checkNumberForm(parts, report);
        checkOldMail(parts, report);
    } catch (const DatabaseFault &fault) {
        report.wrong(u"试数据表时出错："_s + fault.message(), u"请检查数据库服务，再试一次"_s);
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
    const ConnectionString connectString(parts.session.GetConnectString());
    const QString file = QFileInfo(connectString.value({"Data Source"_L1})).canonicalFilePath();
    if (isClosedToService(parts, file))
        report.wrong(u"系统服务的沙箱不能写入数据库文件 %1"_s.arg(file),
                     u"把它移到 /srv 下，或用 systemctl edit 放开所在的文件夹（手册第 8 节）"_s);
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
    tryDatabase(parts, report);
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
    const ModemStatus status = parts.modem.askStatus();
    const auto known = [](const QString &text) { return text.isEmpty() ? u"未知"_s : text; };
    report.well(
        u"COM%1 短信猫应答正常（%2 波特，型号 %3）"_s.arg(port).arg(status.baud).arg(known(status.model)));
    report.well(u"IMEI 尾号 %1，SIM 卡尾号 %2，信号 %3 格"_s.arg(known(status.imeiEnd), known(status.simEnd))
                    .arg(status.signalBars()));
    for (const QString &workaround : status.workarounds)
        report.well(u"短信猫特点："_s + workaround);
    for (const QString &trouble : status.troubles)
        report.wrong(trouble, u"请检查天线、信号和 SIM 卡状态"_s);
    for (const ModemStatus::Memory &memory : status.memories) {
        if (memory.isNearlyFull())
            report.wrong(
                u"短信猫存储器 %1 将满：已用 %2，共 %3"_s.arg(memory.name).arg(memory.used).arg(memory.total),
                u"启动服务后收到的短信会自动取走；卡上的草稿请用手机删除"_s);
    }
    if (status.troubles.isEmpty())
        report.well(u"已注册到网络"_s + (status.network.isEmpty() ? QString() : u"："_s + status.network));
}

void checkBusyModem(const ServerParts &parts, CheckReport &report)
{
    report.well(u"短信服务正在运行，COM%1 短信猫由它使用，用 --status 查看"_s.arg(
        Settings::read(parts.registry, u"ServerPort"_s).plain));
}

} // namespace

bool checkEverything(const ServerParts &parts, const CheckReport::Show &show, bool isServing)
{
    CheckReport report(show);
    for (const auto check : {checkFiles, checkDatabase, checkSettings, checkLimits,
                             isServing ? checkBusyModem : checkModem, checkMailAccounts})
        check(parts, report);
    if (!isServing)
        checkPlace(parts, report);
    show(report.isWell() ? u"一切正常"_s : u"有问题需要处理"_s);
    return report.isWell();
}
