#include "foundation/SettingForms.h"

#include "database/DriverFactory.h"
#include "foundation/NumericText.h"

#include <QRegularExpression>
#include <QUrl>
#include <limits>

using namespace Qt::StringLiterals;

namespace SettingForms
{

SettingValue text(const QString &form, const QString &typed, const QString &problem)
{
    const QString plain = usualWidth(typed).trimmed();
    const QRegularExpression whole(QRegularExpression::anchoredPattern(form),
                                   QRegularExpression::CaseInsensitiveOption);
    return whole.match(plain).hasMatch() ? SettingValue{plain} : SettingValue{.problem = problem};
}

SettingValue word(const QString &word, const QString &typed)
{
    const SettingValue value = text(word, typed, u"只能是 %1 或空"_s.arg(word));
    return {value.problem.isEmpty() ? word : QString(), value.problem};
}

SettingValue number(const QString &typed, qint32 most, Fractions fractions, const QString &problem)
{
    const auto number = numericValue(typed);
    const auto whole = number ? wholeNumber(*number) : std::nullopt;
    const bool isGood =
        whole && *whole > 0 && *whole <= most && (*whole == *number || fractions == Fractions::Rounded);
    return isGood ? SettingValue{QString::number(*whole)} : SettingValue{.problem = problem};
}

SettingValue connectString(const QString &typed)
{
    try {
        static_cast<void>(makeDriver(typed));
        return {typed};
    } catch (const DatabaseFault &fault) {
        return {.problem = fault.message()};
    }
}

SettingValue devicePath(const QString &typed)
{
    const QString plain = typed.trimmed();
    const QUrl url(plain, QUrl::StrictMode);
    const bool isOnNetwork = url.scheme() == "tcp"_L1 && !url.host().isEmpty() && url.port() > 0 &&
                             url.path().isEmpty() && !url.hasQuery() && url.userInfo().isEmpty();
    return plain.startsWith(u'/') || plain.startsWith(u'\\') || isOnNetwork
               ? SettingValue{plain}
               : SettingValue{.problem = u"设备必须写出完整路径，例如 /dev/serial/by-id/... 或 /dev/ttyUSB0，"
                                         "网络串口写 tcp://主机:端口"_s};
}

SettingValue lineSpeed(const QString &typed)
{
    static const QStringList speeds{u"1200"_s,  u"2400"_s,   u"4800"_s,   u"9600"_s,   u"19200"_s, u"38400"_s,
                                    u"57600"_s, u"115200"_s, u"230400"_s, u"460800"_s, u"921600"_s};
    const QString problem = u"速率必须是常用的波特率，例如 9600 或 115200"_s;
    const SettingValue value = number(typed, std::numeric_limits<qint32>::max(), Fractions::Refused, problem);
    return speeds.contains(value.plain) ? value : SettingValue{.problem = problem};
}

SettingValue webAddress(const QString &typed)
{
    const QUrl url(typed.trimmed(), QUrl::StrictMode);
    const bool isGood =
        url.isValid() && !url.host().isEmpty() && (url.scheme() == "http"_L1 || url.scheme() == "https"_L1);
    return isGood ? SettingValue{typed.trimmed()}
                  : SettingValue{.problem = u"必须是网址，例如 https://sms.example.com/"_s};
}

} // namespace SettingForms
