#include "mime/HeaderFields.h"

#include "mime/MessageLimits.h"

#include <algorithm>

namespace
{

bool isContinuation(QByteArrayView line)
{
    return line.startsWith(' ') || line.startsWith('\t');
}

bool isBlankLine(QByteArrayView line)
{
    return line == "\n" || line == "\r\n" || line == "\r";
}

/// The name in a line that begins a field (RFC 5322, 2.2); empty when it begins none.
QByteArrayView fieldName(QByteArrayView line)
{
    constexpr qsizetype longestName = 200;
    const qsizetype colon = line.first(qMin(line.size(), longestName)).indexOf(':');
    if (colon <= 0 || isContinuation(line))
        return {};
    const QByteArrayView name = line.first(colon).trimmed();
    const bool printable = std::all_of(name.begin(), name.end(), [](char c) { return c > 0x20 && c < 0x7F; });
    return printable ? name : QByteArrayView();
}

bool isKnownField(QByteArrayView name)
{
    constexpr QByteArrayView known = " from to cc bcc subject date sender message-id mime-version received "
                                     "reply-to return-path in-reply-to "
                                     "references priority importance ";
    const QByteArray word = ' ' + name.toByteArray().toLower() + ' ';
    return word.startsWith(" x-") || word.startsWith(" content-") || known.contains(word);
}

/// Octets up to the next known field, which must come soon and before any blank line; 0 when none does.
qsizetype octetsToKnownField(QByteArrayView octets)
{
    constexpr qsizetype looked = 4096;
    const QByteArrayView near = octets.first(qMin(octets.size(), looked));
    qsizetype at = 0;
    while (at < near.size()) {
        const QByteArrayView line = firstLine(near.sliced(at));
        if (isBlankLine(line))
            return 0;
        if (isKnownField(fieldName(line)))
            return at;
        at += line.size();
    }
    return 0;
}

} // namespace

HeaderFields::HeaderFields(QByteArrayView octets)
{
    while (m_bodyAt < octets.size()) {
        const QByteArrayView line = firstLine(octets.sliced(m_bodyAt));
        if (isBlankLine(line)) {
            m_bodyAt += line.size();
            return;
        }
        const QByteArrayView name = fieldName(line);
        if (name.isEmpty()) {
            if (line.startsWith("--"))
                return; // a boundary: what follows is a part's
            const qsizetype skipped = octetsToKnownField(octets.sliced(m_bodyAt));
            if (skipped == 0)
                return;
            m_bodyAt += skipped;
            continue;
        }
        qsizetype end = m_bodyAt + line.size();
        while (end < octets.size() && isContinuation(octets.sliced(end)))
            end += firstLine(octets.sliced(end)).size();
        const qsizetype valueAt = m_bodyAt + line.indexOf(':') + 1;
        const qsizetype size = qMin(end - valueAt, MessageLimits::fieldOctets);
        if (m_fields.size() < MessageLimits::fields)
            m_fields.append({name, octets.sliced(valueAt, size)});
        m_bodyAt = end;
    }
}

QList<QByteArrayView> HeaderFields::values(QByteArrayView name) const
{
    QList<QByteArrayView> values;
    for (const HeaderField &field : m_fields) {
        if (field.name.compare(name, Qt::CaseInsensitive) == 0)
            values += field.value;
    }
    return values;
}

QByteArrayView HeaderFields::value(QByteArrayView name) const
{
    return values(name).value(0);
}

QByteArrayView firstLine(QByteArrayView octets)
{
    const qsizetype end = octets.indexOf('\n');
    return end < 0 ? octets : octets.first(end + 1);
}

qsizetype rubbishInFront(QByteArrayView octets)
{
    qsizetype at = 0;
    while (at < octets.size()) {
        const QByteArrayView line = firstLine(octets.sliced(at));
        if (!line.trimmed().isEmpty() && !line.startsWith("From ") && !line.startsWith(">From "))
            break;
        at += line.size();
    }
    return at;
}

QByteArrayView withoutLineEnd(QByteArrayView octets)
{
    return octets.chopped(octets.endsWith("\r\n") ? 2 : octets.endsWith('\n') ? 1 : 0);
}
