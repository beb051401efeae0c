#include "foundation/PassLock.h"

#include "foundation/Settings.h"

bool areServersSeveral(const Registry &registry)
{
    const QString servers = registry.read(Settings::localPath(QLatin1String("Servers")));
    return servers.trimmed().compare(QLatin1String("several"), Qt::CaseInsensitive) == 0;
}
