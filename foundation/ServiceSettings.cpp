#include "foundation/ServiceSettings.h"

#include "foundation/NumericText.h"
#include "foundation/Settings.h"

#include <limits>

using namespace Qt::StringLiterals;

ServiceSettings readServiceSettings(const Registry &registry)
{
    ServiceSettings settings;
    const auto ours = [&](const QString &name) {
        const SettingValue value = Settings::read(registry, name);
        if (!value.problem.isEmpty())
            settings.problems += u"参数 %1=%2 不起作用：%3"_s.arg(
                name, registry.read(Settings::pathOf(name)).trimmed(), value.problem);
        return value.plain;
    };
    // What is no number goes to the modem control, which refuses it in words of its own.
    settings.serviceCentre = usualWidth(registry.read(Settings::centerCodePath())).trimmed();
    constexpr qint64 longest = std::numeric_limits<int>::max() / 1000;
    if (const QString delay = Settings::read(registry, u"TimeDelay"_s).plain; !delay.isEmpty())
        settings.scanInterval = std::chrono::seconds(qMin(delay.toLongLong(), longest));
    settings.serverPort = registry.read(Settings::serverPortPath()).trimmed();
    if (const QString port = Settings::read(registry, u"ServerPort"_s).plain; !port.isEmpty()) {
        settings.comPort = port.toShort();
        settings.lineSpeed = ours(u"COM%1Speed"_s.arg(port)).toInt();
    }
    settings.senderCountryCode = ours(u"SenderCountryCode"_s);
    settings.areServersSeveral = !ours(u"Servers"_s).isEmpty();
    settings.sendPerHour = ours(u"SendPerHour"_s).toInt();
    settings.sendPerDay = ours(u"SendPerDay"_s).toInt();
    settings.sendGap = std::chrono::seconds(ours(u"SendGap"_s).toInt());
    settings.repliesPerHour = ours(u"RepliesPerHour"_s).toInt();
    settings.verifiesMailServers = !ours(u"MailTls"_s).isEmpty();
    settings.attachesHiddenText = !ours(u"MailHiddenText"_s).isEmpty();
    return settings;
}
