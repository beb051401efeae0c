#include "console/ProgramIcon.h"

#include <QDir>

using namespace Qt::StringLiterals;

// The resource is in a static library: the linker would leave out its initialiser unless it is named.
// The macro needs a function outside any namespace.
static void initialiseIcons()
{
    Q_INIT_RESOURCE(icons);
}

QIcon programIcon()
{
    initialiseIcons();
    QIcon icon;
    const QDir folder(u":/icons"_s);
    const QStringList files = folder.entryList();
    for (const QString &file : files)
        icon.addFile(folder.filePath(file));
    return icon;
}
