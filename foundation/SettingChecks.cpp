#include "foundation/SettingChecks.h"

#include "database/DatabaseFault.h"
#include "database/DriverFactory.h"
#include "database/NamedLock.h"
#include "foundation/NumericText.h"

#include <QRegularExpression>
#include <QUrl>
#include <limits>

using namespace Qt::StringLiterals;

namespace SettingChecks
{

namespace
{

bool matches(const QString &value, const QString &form)
{
    return QRegularExpression(QRegularExpression::anchoredPattern(form))
        .match(usualWidth(value).trimmed())
        .hasMatch();
}

std::optional<qint32> exactWholeNumber(const QString &value)
{
    const auto number = numericValue(value);
    const auto whole = number ? wholeNumber(*number) : std::nullopt;
    return whole && *whole == *number ? whole : std::nullopt;
}

} // namespace

QString anything(const QString &)
{
    return {};
}

QString serviceCentre(const QString &value)
{
    return matches(value, u"\\+?[0-9]{1,20}"_s)
               ? QString()
               : u"短信中心号码只能是“+”和最多 20 位数字，例如 +8613800755500"_s;
}

QString scanInterval(const QString &value)
{
    const auto seconds = numericValue(value);
    return seconds && wholeNumber(*seconds).value_or(0) > 0 ? QString()
                                                            : u"扫描时间间隔必须是大于 0 的秒数，例如 10"_s;
}

QString comPort(const QString &value)
{
    const int port = exactWholeNumber(value).value_or(0);
    return port > 0 && port <= std::numeric_limits<qint16>::max() ? QString()
                                                                  : u"端口号必须是大于 0 的整数，例如 3"_s;
}

QString connectString(const QString &value)
{
    try {
        static_cast<void>(makeDriver(value));
        return {};
    } catch (const DatabaseFault &fault) {
        return fault.message();
    }
}

QString devicePath(const QString &value)
{
    return matches(value, u"[/\\\\].*"_s)
               ? QString()
               : u"设备必须写出完整路径，例如 /dev/serial/by-id/... 或 /dev/ttyUSB0"_s;
}

QString lineSpeed(const QString &value)
{
    static const QList<qint32> speeds{1200,  2400,   4800,   9600,   19200, 38400,
                                      57600, 115200, 230400, 460800, 921600};
    return speeds.contains(exactWholeNumber(value).value_or(0))
               ? QString()
               : u"速率必须是常用的波特率，例如 9600 或 115200"_s;
}

QString countryCode(const QString &value)
{
    return matches(value, u"[1-9][0-9]{0,3}"_s) ? QString() : u"国家代码只写数字，例如 86"_s;
}

QString mailTls(const QString &value)
{
    return value.trimmed().compare("verify"_L1, Qt::CaseInsensitive) == 0 ? QString()
                                                                          : u"只能是 verify 或空"_s;
}

QString mailHiddenText(const QString &value)
{
    return value.trimmed().compare("attach"_L1, Qt::CaseInsensitive) == 0 ? QString()
                                                                          : u"只能是 attach 或空"_s;
}

QString webAddress(const QString &value)
{
    const QUrl url(value, QUrl::StrictMode);
    return url.isValid() && !url.host().isEmpty() && (url.scheme() == "http"_L1 || url.scheme() == "https"_L1)
               ? QString()
               : u"必须是网址，例如 https://sms.example.com/"_s;
}

QString servers(const QString &value)
{
    return value.trimmed().compare("several"_L1, Qt::CaseInsensitive) == 0 ? QString()
                                                                           : u"只能是 several 或空"_s;
}

QString sendLimit(const QString &value)
{
    constexpr qint32 most = 86400;
    const qint32 number = exactWholeNumber(value).value_or(0);
    return number > 0 && number <= most ? QString() : u"必须是 1 到 86400 的整数"_s;
}

QString sharedDatabase(const QString &connectString)
{
    const QString reason = NamedLock::whyUnsupported(connectString);
    return reason.isEmpty() ? reason
                            : u"Servers=several 需要 PostgreSQL、MariaDB、MySQL 或 SQL Server，"_s + reason;
}

QString wholeNumberAboveZero(const QString &value)
{
    return exactWholeNumber(value).value_or(0) > 0 ? QString() : u"必须是大于 0 的整数"_s;
}

} // namespace SettingChecks
