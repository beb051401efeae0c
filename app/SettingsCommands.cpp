#include "app/SettingsCommands.h"

#include "database/ConnectionString.h"
#include "database/NamedLock.h"
#include "foundation/Settings.h"
#include "platform/fault/Fault.h"

#include <QTextStream>

using namespace Qt::StringLiterals;

namespace
{

CommandLine::Assignment completed(const CommandLine::Assignment &assignment)
{
    const bool isElsewhere =
        assignment.value == u"-" && Settings::pathOf(assignment.name) == Settings::connectStringPath();
    return isElsewhere ? CommandLine::Assignment{assignment.name, QTextStream(stdin).readLine()} : assignment;
}

/// Servers=several and the connection string as they will be.
void requireShareable(const Registry &registry, const QList<CommandLine::Assignment> &assignments)
{
    const auto after = [&](const QString &name) {
        QString value = registry.read(Settings::pathOf(name));
        for (const auto &assignment : assignments) {
            if (Settings::pathOf(assignment.name) == Settings::pathOf(name))
                value = assignment.value;
        }
        return Settings::parsed(name, value).plain;
    };
    const QString connectString = after(u"ConnectString"_s);
    if (after(u"Servers"_s).isEmpty() || connectString.isEmpty())
        return;
    if (const QString reason = NamedLock::whyUnsupported(connectString); !reason.isEmpty())
        throw Fault(u"没有写入：Servers=several 需要 PostgreSQL、MariaDB、MySQL 或 SQL Server，"_s + reason);
}

} // namespace

void writeSettings(Registry &registry, const QList<CommandLine::Assignment> &assignments)
{
    QList<CommandLine::Assignment> checked;
    for (const auto &assignment : assignments) {
        checked += completed(assignment);
        const QString problem = Settings::parsed(checked.last().name, checked.last().value).problem;
        if (!problem.isEmpty())
            throw Fault(u"%1 没有写入：%2"_s.arg(assignment.name, problem));
    }
    requireShareable(registry, checked);
    for (const auto &[name, value] : std::as_const(checked))
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
