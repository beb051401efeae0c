#include "app/Programs.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace
{

/// installed: the path from the other program's folder.
QString program(const QString &name, const QString &installed)
{
    const QDir folder(QCoreApplication::applicationDirPath());
    const QString beside = folder.filePath(name);
    return QFileInfo::exists(beside) ? beside : QDir::cleanPath(folder.filePath(installed));
}

} // namespace

QString serverProgram()
{
    return program(u"sms-server"_s, QStringLiteral(SMS_SERVER_FROM_WINDOW));
}

QString windowProgram()
{
    return program(u"sms-server-window"_s, QStringLiteral(SMS_WINDOW_FROM_SERVER));
}
