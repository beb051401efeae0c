#include "platform/registry/FileRegistry.h"

#include "platform/fault/Fault.h"
#include "platform/files/Files.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSet>

using namespace Qt::StringLiterals;

namespace
{

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

/// Calls visit(key, name, value, index) for each line that holds a value.
template <typename Visit>
void forEachValue(const QList<QByteArray> &lines, Visit visit)
{
    QString key;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const QString line = QString::fromUtf8(lines[i]).trimmed();
        if (line.startsWith(u'[') && line.endsWith(u']')) {
            key = line.mid(1, line.size() - 2);
            visit(key, QString(), QString(), i);
        } else if (const qsizetype equals = line.indexOf(u'=');
                   equals > 0 && !line.startsWith(u';') && !line.startsWith(u'#')) {
            visit(key, line.left(equals).trimmed(), line.mid(equals + 1).trimmed(), i);
        }
    }
}

/// The lines with one value changed: in its place, else at the end of its group, else in a group at the end. All
/// others stay, comments too.
QByteArray changed(QList<QByteArray> lines, const SplitPath &path, const QString &value)
{
    while (!lines.isEmpty() && lines.last().trimmed().isEmpty())
        lines.removeLast();
    qsizetype place = -1; // of the value
    qsizetype last = -1;  // line of the group
    forEachValue(lines, [&](const QString &key, const QString &name, const QString &, qsizetype line) {
        if (key == path.key)
            last = line;
        if (key == path.key && name == path.name)
            place = line;
    });
    const QByteArray fresh = (path.name + u'=' + encode(value)).toUtf8();
    if (place >= 0)
        lines[place] = fresh;
    else if (last >= 0)
        lines.insert(last + 1, fresh);
    else
        lines += {QByteArray(lines.isEmpty() ? "" : "\n") + '[' + path.key.toUtf8() + ']', fresh};
    return lines.join('\n') + '\n';
}

} // namespace

FileRegistry::FileRegistry(QString fileName) : m_fileName(std::move(fileName)) {}

QString FileRegistry::read(const QString &path) const
{
    const auto [key, name] = splitPath(path);
    QString found;
    forEachValue(lines(), [&, key = key, name = name](const QString &in, const QString &of,
                                                      const QString &value, qsizetype) {
        if (in == key && of == name)
            found = decode(value);
    });
    return found;
}

QString FileRegistry::damage() const
{
    const QList<QByteArray> all = lines();
    if (all == QByteArrayList{{}})
        return QFileInfo::exists(m_fileName) ? u"参数文件是空的"_s : QString();
    QSet<qsizetype> understood;
    forEachValue(all, [&](const auto &, const auto &, const auto &, qsizetype line) { understood += line; });
    for (qsizetype i = 0; i < all.size(); ++i) {
        const QByteArray line = all[i].trimmed();
        const bool isComment = line.isEmpty() || line.startsWith(';') || line.startsWith('#');
        if (!line.isValidUtf8() || (!isComment && !understood.contains(i)))
            return u"参数文件第 %1 行无法识别"_s.arg(i + 1);
    }
    return {};
}

void FileRegistry::write(const QString &path, const QString &value)
{
    const QString folder = QFileInfo(m_fileName).absolutePath();
    if (const FileError error = makeFolders(folder); error.isError())
        throw Fault(u"无法创建参数文件夹 %1：%2"_s.arg(folder, error.text()));
    constexpr std::chrono::seconds wait{5}; // long for any writer, short for an operator
    const FileLock lock(folder, FileLock::On::Folder, wait);
    FileError error = lock.error();
    if (!error.isError())
        error = replaceSynced(m_fileName, changed(lines(), splitPath(path), value));
    if (error.isError())
        throw Fault(u"无法写入参数文件 %1：%2"_s.arg(m_fileName, error.text()));
}

QList<QByteArray> FileRegistry::lines() const
{
    const FileContent file = readWhole(m_fileName);
    if (file.error.isError() && !file.error.isAbsence())
        throw Fault(u"无法读取参数文件 %1：%2，请检查该文件和它的权限"_s.arg(m_fileName, file.error.text()));
    return file.octets.split('\n');
}
