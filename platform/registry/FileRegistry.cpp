#include "platform/registry/FileRegistry.h"

#include "platform/fault/Fault.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLockFile>
#include <QSaveFile>

using namespace Qt::StringLiterals;

namespace
{

/// Long enough for any other writer to finish, short enough for an operator who waits.
constexpr int lockWaitMilliseconds = 5000;

struct SplitPath {
    QString key;
    QString name;
};

SplitPath splitPath(const QString &path)
{
    const qsizetype cut = path.lastIndexOf(u'\\');
    Q_ASSERT(cut > 0);
    return {path.left(cut), path.mid(cut + 1)};
}

bool needsQuotes(const QString &value)
{
    const auto isControl = [](QChar c) { return c.unicode() < 0x20 || c.unicode() == 0x7f; };
    return value.startsWith(u'"') || value != value.trimmed() ||
           std::any_of(value.cbegin(), value.cend(), isControl);
}

QString encode(const QString &value)
{
    if (!needsQuotes(value))
        return value;
    const QByteArray list = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(list.mid(1, list.size() - 2));
}

QString decode(const QString &text)
{
    if (text.startsWith(u'"')) {
        const auto list = QJsonDocument::fromJson(("["_L1 + text + "]"_L1).toUtf8()).array();
        if (list.size() == 1 && list.at(0).isString())
            return list.at(0).toString();
    }
    return text;
}

} // namespace

FileRegistry::FileRegistry(QString fileName) : m_fileName(std::move(fileName)) {}

QString FileRegistry::read(const QString &path) const
{
    const auto [key, name] = splitPath(path);
    return load().value(key).value(name);
}

void FileRegistry::write(const QString &path, const QString &value)
{
    const QString folder = QFileInfo(m_fileName).absolutePath();
    if (!QDir().mkpath(folder))
        throw Fault(u"无法创建参数文件夹 %1"_s.arg(folder));
    QLockFile lock(m_fileName + ".lock"_L1);
    if (!lock.tryLock(lockWaitMilliseconds))
        throw Fault(u"参数文件 %1 正被其他程序占用或所在文件夹不可写"_s.arg(m_fileName));
    const auto [key, name] = splitPath(path);
    Groups groups = load();
    groups[key][name] = value;
    save(groups);
}

FileRegistry::Groups FileRegistry::load() const
{
    QFile file(m_fileName);
    if (!file.exists())
        return {};
    if (!file.open(QIODevice::ReadOnly))
        throw Fault(u"无法读取参数文件 %1：%2"_s.arg(m_fileName, file.errorString()));
    Groups groups;
    QString key;
    const QStringList lines = QString::fromUtf8(file.readAll()).split(u'\n');
    for (const QString &raw : lines) {
        const QString line = raw.trimmed();
        if (line.startsWith(u'[') && line.endsWith(u']')) {
            key = line.mid(1, line.size() - 2);
        } else if (const qsizetype equals = line.indexOf(u'=');
                   equals > 0 && !line.startsWith(u';') && !line.startsWith(u'#')) {
            groups[key][line.left(equals).trimmed()] = decode(line.mid(equals + 1).trimmed());
        }
    }
    return groups;
}

void FileRegistry::save(const Groups &groups) const
{
    QString text;
    for (auto group = groups.cbegin(); group != groups.cend(); ++group) {
        text += "["_L1 + group.key() + "]\n"_L1;
        for (auto value = group->cbegin(); value != group->cend(); ++value)
            text += value.key() + u'=' + encode(value.value()) + u'\n';
        text += u'\n';
    }
    QSaveFile file(m_fileName);
    // The permissions come first: the connection string holds a password.
    const bool saved = file.open(QIODevice::WriteOnly) &&
                       file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner) &&
                       file.write(text.toUtf8()) >= 0 && file.commit();
    if (!saved)
        throw Fault(u"无法写入参数文件 %1：%2"_s.arg(m_fileName, file.errorString()));
}
