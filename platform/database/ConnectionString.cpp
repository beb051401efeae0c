#include "platform/database/ConnectionString.h"

#include "platform/database/DatabaseFault.h"

#include <QStringList>
#include <optional>

using namespace Qt::StringLiterals;

namespace
{

struct Entry {
    QString key;
    QString value;
    qsizetype valueStart = 0; // where the value stands in the whole text, quotes included
    qsizetype valueEnd = 0;
};

DatabaseFault malformed(const QString &what)
{
    return {DatabaseFault::Kind::Refused, u"数据库连接字符串格式错误：%1"_s.arg(what)};
}

/// Walks a connection string entry by entry.
class Scanner
{
public:
    explicit Scanner(const QString &text) : m_text(text) {}

    std::optional<Entry> next()
    {
        while (m_at < m_text.size() && (m_text[m_at] == u';' || m_text[m_at].isSpace()))
            ++m_at;
        if (m_at == m_text.size())
            return std::nullopt;
        const qsizetype equals = m_text.indexOf(u'=', m_at);
        const qsizetype end = m_text.indexOf(u';', m_at);
        if (equals < 0 || (end >= 0 && end < equals))
            throw malformed(u"第 %1 项缺少“=”"_s.arg(m_count + 1));
        Entry entry;
        entry.key = m_text.mid(m_at, equals - m_at).trimmed();
        if (entry.key.isEmpty())
            throw malformed(u"第 %1 项缺少名称"_s.arg(m_count + 1));
        ++m_count;
        m_at = equals + 1;
        while (m_at < m_text.size() && m_text[m_at].isSpace())
            ++m_at;
        entry.valueStart = m_at;
        entry.value = atQuote() ? quotedValue(entry.key) : bareValue();
        entry.valueEnd = m_at;
        return entry;
    }

private:
    [[nodiscard]] bool atQuote() const
    {
        return m_at < m_text.size() &&
               (m_text[m_at] == u'"' || m_text[m_at] == u'\'' || m_text[m_at] == u'{');
    }

    QString bareValue()
    {
        const qsizetype end = m_text.indexOf(u';', m_at);
        const qsizetype start = m_at;
        m_at = end < 0 ? m_text.size() : end;
        return m_text.mid(start, m_at - start).trimmed();
    }

    QString quotedValue(const QString &key)
    {
        const QChar close = m_text[m_at] == u'{' ? QChar(u'}') : m_text[m_at];
        QString value;
        for (++m_at; m_at < m_text.size(); ++m_at) {
            if (m_text[m_at] != close) {
                value += m_text[m_at];
            } else if (m_at + 1 < m_text.size() && m_text[m_at + 1] == close) {
                value += close;
                ++m_at;
            } else {
                ++m_at;
                skipToEntryEnd(key);
                return value;
            }
        }
        throw malformed(u"“%1”的引号没有结束"_s.arg(key));
    }

    void skipToEntryEnd(const QString &key)
    {
        while (m_at < m_text.size() && m_text[m_at].isSpace())
            ++m_at;
        if (m_at < m_text.size() && m_text[m_at] != u';')
            throw malformed(u"“%1”的引号之后有多余字符"_s.arg(key));
    }

    const QString &m_text;
    qsizetype m_at = 0;
    int m_count = 0;
};

bool isPasswordKey(const QString &key)
{
    const QString lower = key.toLower();
    return lower.contains("password"_L1) || lower == "pwd"_L1 || lower == "passwd"_L1;
}

} // namespace

ConnectionString::ConnectionString(const QString &text)
{
    Scanner scanner(text);
    while (const auto entry = scanner.next())
        m_values[entry->key.toLower()] = entry->value;
}

QString ConnectionString::value(std::initializer_list<QLatin1String> keys) const
{
    for (const QLatin1String key : keys) {
        if (const auto found = m_values.constFind(QString(key)); found != m_values.cend())
            return *found;
    }
    return {};
}

bool ConnectionString::contains(QLatin1String key) const
{
    return m_values.contains(QString(key));
}

QString ConnectionString::masked(const QString &text)
{
    QString shown;
    qsizetype copied = 0;
    try {
        Scanner scanner(text);
        while (const auto entry = scanner.next()) {
            if (!isPasswordKey(entry->key))
                continue;
            shown += text.mid(copied, entry->valueStart - copied) + "***"_L1;
            copied = entry->valueEnd;
        }
    } catch (const DatabaseFault &) {
        // Where the password stands cannot be told, so nothing after the first key is shown.
        return text.left(text.indexOf(u'=') + 1) + "***"_L1;
    }
    return shown + text.mid(copied);
}
