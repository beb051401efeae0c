#include "database/ConnectionString.h"

#include <QRegularExpression>
#include <algorithm>
#include <optional>

using namespace Qt::StringLiterals;

namespace
{

struct ScannedEntry : ConnectionString::Entry {
    qsizetype valueStart = 0; // where the value is in the whole text, quotes included
    qsizetype valueEnd = 0;
};

bool isOdbcStyle(const QString &text)
{
    constexpr auto option = QRegularExpression::CaseInsensitiveOption;
    static const QRegularExpression provider(u"(^|;)\\s*provider\\s*="_s, option);
    static const QRegularExpression driver(u"(^|;)\\s*(driver|dsn|filedsn)\\s*="_s, option);
    return driver.match(text).hasMatch() && !provider.match(text).hasMatch();
}

DatabaseFault malformed(const QString &what)
{
    return refusedString(u"数据库连接字符串格式错误：%1"_s.arg(what));
}

/// Walks a connection string entry by entry.
class Scanner
{
public:
    explicit Scanner(const QString &text) : m_text(text), m_quotesMayBePlain(isOdbcStyle(text)) {}

    std::optional<ScannedEntry> next()
    {
        while (m_at < m_text.size() && (m_text[m_at] == u';' || m_text[m_at].isSpace()))
            ++m_at;
        if (m_at == m_text.size())
            return std::nullopt;
        const qsizetype equals = m_text.indexOf(u'=', m_at);
        const qsizetype end = m_text.indexOf(u';', m_at);
        if (equals < 0 || (end >= 0 && end < equals))
            throw malformed(u"第 %1 项缺少“=”"_s.arg(m_count + 1));
        ScannedEntry entry;
        entry.key = m_text.mid(m_at, equals - m_at).trimmed();
        if (entry.key.isEmpty())
            throw malformed(u"第 %1 项缺少名称"_s.arg(m_count + 1));
        ++m_count;
        m_at = equals + 1;
        while (m_at < m_text.size() && m_text[m_at].isSpace())
            ++m_at;
        entry.valueStart = m_at;
        entry.value = value(entry.key);
        entry.valueEnd = m_at;
        return entry;
    }

private:
    QString value(const QString &key)
    {
        const QChar open = m_at < m_text.size() ? m_text[m_at] : QChar();
        if (open != u'"' && open != u'\'' && open != u'{')
            return bareValue();
        const qsizetype start = m_at;
        const auto quoted = quotedValue(open == u'{' ? QChar(u'}') : open);
        if (quoted && atEntryEnd())
            return *quoted;
        if (open != u'{' && m_quotesMayBePlain) {
            m_at = start;
            return bareValue();
        }
        throw malformed(quoted ? u"“%1”的引号之后有多余字符"_s.arg(key) : u"“%1”的引号没有结束"_s.arg(key));
    }

    QString bareValue()
    {
        const qsizetype end = m_text.indexOf(u';', m_at);
        const qsizetype start = m_at;
        m_at = end < 0 ? m_text.size() : end;
        return m_text.mid(start, m_at - start).trimmed();
    }

    /// Nothing when the closing quote is missing.
    std::optional<QString> quotedValue(QChar close)
    {
        QString value;
        for (++m_at; m_at < m_text.size(); ++m_at) {
            if (m_text[m_at] != close) {
                value += m_text[m_at];
            } else if (m_at + 1 < m_text.size() && m_text[m_at + 1] == close) {
                value += close;
                ++m_at;
            } else {
                ++m_at;
                return value;
            }
        }
        return std::nullopt;
    }

    bool atEntryEnd()
    {
        while (m_at < m_text.size() && m_text[m_at].isSpace())
            ++m_at;
        return m_at == m_text.size() || m_text[m_at] == u';';
    }

    const QString &m_text;
    bool m_quotesMayBePlain;
    qsizetype m_at = 0;
    int m_count = 0;
};

bool isPasswordKey(const QString &key)
{
    const QString lower = key.toLower();
    // Extended properties are a connection string of their own.
    return lower.contains("password"_L1) || lower == "pwd"_L1 || lower == "passwd"_L1 ||
           lower == "extended properties"_L1;
}

} // namespace

ConnectionString::ConnectionString(const QString &text)
{
    Scanner scanner(text);
    while (const auto entry = scanner.next()) {
        const auto earlier = std::find_if(m_entries.begin(), m_entries.end(), [&entry](const Entry &other) {
            return other.key.compare(entry->key, Qt::CaseInsensitive) == 0;
        });
        if (earlier != m_entries.end())
            earlier->value = entry->value;
        else
            m_entries += *entry;
    }
}

const ConnectionString::Entry *ConnectionString::find(Keys keys) const
{
    for (const QLatin1String key : keys) {
        for (const Entry &entry : m_entries) {
            if (isOneOf(entry.key, {key}))
                return &entry;
        }
    }
    return nullptr;
}

QString ConnectionString::value(Keys keys) const
{
    const Entry *entry = find(keys);
    return entry != nullptr ? entry->value : QString();
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
        // Where the password is cannot be told, so nothing after the first key is shown.
        return text.left(text.indexOf(u'=') + 1) + "***"_L1;
    }
    return shown + text.mid(copied);
}

bool isOneOf(const QString &key, ConnectionString::Keys keys)
{
    return std::any_of(keys.begin(), keys.end(),
                       [&key](QLatin1String known) { return key.compare(known, Qt::CaseInsensitive) == 0; });
}

bool isYes(const QString &value)
{
    return !value.isEmpty() && !isOneOf(value, {"no"_L1, "false"_L1, "0"_L1, "optional"_L1});
}

DatabaseFault refusedString(const QString &what)
{
    return {DatabaseFault::Kind::Refused, what};
}
