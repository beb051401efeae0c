#include "foundation/Settings.h"

#include "foundation/NumericText.h"

#include <QRegularExpression>
#include <array>
#include <limits>

using namespace Qt::StringLiterals;

namespace Settings
{

namespace
{

constexpr QLatin1String serverKey(R"(HKEY_LOCAL_MACHINE\Software\brenmoorsoft\SMSServer\)");
constexpr QLatin1String officeKey(R"(HKEY_LOCAL_MACHINE\Software\brenmoorsoft\tavio\)");
constexpr QLatin1String localKey(R"(HKEY_LOCAL_MACHINE\Software\brenmoorsoft\SMSServerLocal\)");

using namespace SettingForms;

constexpr qint32 unlimited = std::numeric_limits<qint32>::max();

/// Up to more than one SIM sends in a day.
SettingValue sendLimit(const QString &typed)
{
    return number(typed, 86400, Fractions::Refused, u"必须是 1 到 86400 的整数"_s);
}

struct Setting {
    QLatin1String key;
    QLatin1String shortName;
    SettingValue (*form)(const QString &typed);
};

/// Every setting but the COM ports, in the order in which they are shown.
constexpr std::array settings = {
    Setting{serverKey, "CenterCode"_L1,
            [](const QString &typed) {
                return text(u"\\+?[0-9]{1,20}"_s, typed,
                            u"短信中心号码只能是“+”和最多 20 位数字，例如 +8613800755500"_s);
            }},
    Setting{serverKey, "TimeDelay"_L1,
            [](const QString &typed) {
                return number(typed, unlimited, Fractions::Rounded,
                              u"扫描时间间隔必须是大于 0 的秒数，例如 10"_s);
            }},
    Setting{serverKey, "ServerPort"_L1,
            [](const QString &typed) {
                return number(typed, std::numeric_limits<qint16>::max(), Fractions::Rounded,
                              u"端口号必须是大于 0 的整数，例如 3"_s);
            }},
    Setting{officeKey, "ConnectString"_L1, connectString},
    Setting{localKey, "SenderCountryCode"_L1,
            [](const QString &typed) {
                return text(u"[1-9][0-9]{0,3}"_s, typed, u"国家代码只写数字，例如 86"_s);
            }},
    Setting{localKey, "MailTls"_L1, [](const QString &typed) { return word(u"verify"_s, typed); }},
    Setting{localKey, "MailHiddenText"_L1, [](const QString &typed) { return word(u"attach"_s, typed); }},
    Setting{localKey, "Servers"_L1, [](const QString &typed) { return word(u"several"_s, typed); }},
    Setting{localKey, "SendPerHour"_L1, sendLimit},
    Setting{localKey, "SendPerDay"_L1, sendLimit},
    Setting{localKey, "SendGap"_L1, sendLimit},
    Setting{localKey, "RepliesPerHour"_L1, sendLimit},
    Setting{localKey, "ProductUrl"_L1, webAddress},
    Setting{localKey, "MakerUrl"_L1, webAddress},
};
constexpr int listedComPorts = 10;

const Setting *find(const QString &shortName)
{
    for (const Setting &setting : settings) {
        if (shortName.compare(setting.shortName, Qt::CaseInsensitive) == 0)
            return &setting;
    }
    return nullptr;
}

const QRegularExpression &comPortName()
{
    static const QRegularExpression form(u"^COM([1-9][0-9]{0,4})(Speed)?$"_s,
                                         QRegularExpression::CaseInsensitiveOption);
    return form;
}

} // namespace

QString centerCodePath()
{
    return serverKey + u"CenterCode"_s;
}
QString timeDelayPath()
{
    return serverKey + u"TimeDelay"_s;
}
QString serverPortPath()
{
    return serverKey + u"ServerPort"_s;
}
QString connectStringPath()
{
    return officeKey + u"ConnectString"_s;
}
QString comDevicePath(int comPort)
{
    return localKey + "COM"_L1 + QString::number(comPort);
}
QString pathOf(const QString &shortName)
{
    if (const Setting *setting = find(shortName))
        return setting->key + setting->shortName;
    const auto match = comPortName().match(shortName);
    if (!match.hasMatch())
        return {};
    const int port = match.captured(1).toInt();
    return comDevicePath(port) + (match.captured(2).isEmpty() ? QLatin1String() : "Speed"_L1);
}

SettingValue parsed(const QString &shortName, const QString &typed)
{
    if (usualWidth(typed).trimmed().isEmpty())
        return {};
    if (const Setting *setting = find(shortName))
        return setting->form(typed);
    const bool isSpeed = !comPortName().match(shortName).captured(2).isEmpty();
    return isSpeed ? SettingForms::lineSpeed(typed) : SettingForms::devicePath(typed);
}

SettingValue read(const Registry &registry, const QString &shortName)
{
    return parsed(shortName, registry.read(pathOf(shortName)));
}

QStringList shortNames()
{
    QStringList names;
    for (const Setting &setting : settings)
        names += setting.shortName;
    for (int port = 1; port <= listedComPorts; ++port) {
        const QString name = "COM"_L1 + QString::number(port);
        names += QStringList{name, name + "Speed"_L1};
    }
    return names;
}

} // namespace Settings

QString ReadRegValue(const Registry &registry, const QString &path)
{
    return registry.read(path);
}
