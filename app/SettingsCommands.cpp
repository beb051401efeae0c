#include "app/SettingsCommands.h"

#include "database/ConnectionString.h"
#include "database/NamedLock.h"
#include "foundation/Settings.h"
#include "platform/fault/Fault.h"

#include <QTextStream>

using namespace Qt::StringLiterals;

namespace
{

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
    for (CommandLine::Assignment assignment : assignments) {
        if (assignment.value == u"-" && Settings::pathOf(assignment.name) == Settings::connectStringPath())
            assignment.value = QTextStream(stdin).readLine();
        const QString problem = Settings::parsed(assignment.name, assignment.value).problem;
        if (!problem.isEmpty())
            throw Fault(u"%1 没有写入：%2"_s.arg(assignment.name, problem));
        checked += assignment;
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
