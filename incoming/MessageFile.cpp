#include "incoming/MessageFile.h"

#include "platform/files/Files.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

QByteArray lineOf(const ReceivedMessage &message)
{
    QJsonObject object{
        {u"sender"_s, message.sender}, {u"text"_s, message.text}, {u"receiveTime"_s, message.receiveTime}};
    if (message.before) {
        object.insert(u"queuedBefore"_s, QJsonArray::fromStringList(message.before->queued));
        object.insert(u"resultsBefore"_s, message.before->results);
    }
    return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
}

std::optional<ReceivedMessage> messageOf(const QByteArray &line)
{
    const QJsonObject object = QJsonDocument::fromJson(line).object();
    for (const auto name : {"sender"_L1, "text"_L1, "receiveTime"_L1}) {
        if (!object.value(name).isString())
            return std::nullopt;
    }
    ReceivedMessage message{object.value("sender"_L1).toString(), object.value("text"_L1).toString(),
                            object.value("receiveTime"_L1).toString()};
    // Stored, perhaps, before a kill kept it from being taken out.
    message.origin.isLeftOver = true;
    if (object.contains("resultsBefore"_L1))
        message.before = {object.value("queuedBefore"_L1).toVariant().toStringList(),
                          object.value("resultsBefore"_L1).toInteger()};
    return message;
}

} // namespace

MessageFile::MessageFile(QString fileName, qsizetype most) : m_fileName(std::move(fileName)), m_most(most)
{
    static_cast<void>(load());
}

bool MessageFile::load()
{
    if (m_isRead || m_fileName.isEmpty())
        return m_isRead;
    const FileContent file = readWhole(m_fileName);
    m_isRead = !file.error.isError() || file.error.isAbsence();
    m_error = m_isRead ? FileError() : file.error;
    for (const QByteArray &line : file.octets.split('\n')) {
        if (line.isEmpty())
            continue;
        if (const std::optional<ReceivedMessage> message = messageOf(line))
            m_messages.append(*message);
        else
            m_unreadableLines.append(line);
    }
    return m_isRead;
}

const QList<ReceivedMessage> &MessageFile::messages()
{
    static_cast<void>(load());
    return m_messages;
}

std::optional<ReceivedMessage> MessageFile::find(const ReceivedMessage &message)
{
    static_cast<void>(load());
    const auto found =
        std::ranges::find_if(m_messages, [&](const ReceivedMessage &held) { return held.isSameAs(message); });
    return found == m_messages.end() ? std::nullopt : std::optional(*found);
}

bool MessageFile::put(const ReceivedMessage &message)
{
    if (!load())
        return false;
    const QList<ReceivedMessage> before = m_messages;
    m_messages.removeIf([&](const ReceivedMessage &held) { return held.isSameAs(message); });
    m_messages.append(message);
    m_messages.last().origin = {.isLeftOver = true, .fragments = message.origin.fragments};
    if (m_messages.size() > m_most)
        m_messages.removeFirst();
    if (save())
        return true;
    m_messages = before;
    return false;
}

void MessageFile::remove(const ReceivedMessage &message)
{
    if (m_messages.removeIf([&](const ReceivedMessage &held) { return held.isSameAs(message); }) > 0)
        static_cast<void>(save());
}

bool MessageFile::isRestored()
{
    if (!m_isRead || m_messages.isEmpty())
        return false;
    const FileContent file = readWhole(m_fileName);
    if (file.error.isError() && !file.error.isAbsence()) {
        m_error = file.error;
        return false;
    }
    return file.octets != content() && save();
}

bool MessageFile::save()
{
    m_error = replaceSynced(m_fileName, content());
    return !m_error.isError();
}

QByteArray MessageFile::content() const
{
    QByteArray lines;
    for (const QByteArray &line : m_unreadableLines)
        lines += line + '\n';
    for (const ReceivedMessage &message : m_messages)
        lines += lineOf(message);
    return lines;
}
