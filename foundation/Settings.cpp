#include "foundation/Settings.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace Settings
{

namespace
{

constexpr QLatin1String serverKey(R"(HKEY_LOCAL_MACHINE\Software\brenmoorsoft\SMSServer\)");
constexpr QLatin1String officeKey(R"(HKEY_LOCAL_MACHINE\Software\brenmoorsoft\tavio\)");
constexpr QLatin1String localKey(R"(HKEY_LOCAL_MACHINE\Software\brenmoorsoft\SMSServerLocal\)");
constexpr int listedComPorts = 10;

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
QString senderCountryCodePath()
{
    return localKey + u"SenderCountryCode"_s;
}
QString mailTlsPath()
{
    return localKey + u"MailTls"_s;
}

QString pathOf(const QString &shortName)
{
    const QStringList known = {centerCodePath(),    timeDelayPath(),         serverPortPath(),
                               connectStringPath(), senderCountryCodePath(), mailTlsPath()};
    for (const QString &path : known) {
        if (path.endsWith(u'\\' + shortName, Qt::CaseInsensitive))
            return path;
    }
    static const QRegularExpression comPort(u"^COM([1-9][0-9]{0,4})$"_s,
                                            QRegularExpression::CaseInsensitiveOption);
    const auto match = comPort.match(shortName);
    return match.hasMatch() ? comDevicePath(match.captured(1).toInt()) : QString();
}

QStringList shortNames()
{
    QStringList names = {u"CenterCode"_s,    u"TimeDelay"_s,         u"ServerPort"_s,
                         u"ConnectString"_s, u"SenderCountryCode"_s, u"MailTls"_s};
    for (int port = 1; port <= listedComPorts; ++port)
        names += "COM"_L1 + QString::number(port);
    return names;
}

} // namespace Settings

QString ReadRegValue(const Registry &registry, const QString &path)
{
    return registry.read(path);
}
