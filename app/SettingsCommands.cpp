#include "app/SettingsCommands.h"

#include "database/ConnectionString.h"
#include "foundation/Settings.h"

void writeSettings(Registry &registry, const QList<CommandLine::Assignment> &assignments)
{
    for (const auto &[name, value] : assignments)
        registry.write(Settings::pathOf(name), value);
}

QString shownSettings(const Registry &registry)
{
    QString shown;
    const QStringList names = Settings::shortNames();
    for (const QString &name : names) {
        const QString path = Settings::pathOf(name);
        QString value = registry.read(path);
        if (path == Settings::connectStringPath())
            value = ConnectionString::masked(value);
        // A COM port without a device of its own is not worth a line.
        if (!value.isEmpty() || !name.startsWith(QLatin1String("COM")))
            shown += name + u'=' + value + u'\n';
    }
    return shown;
}
