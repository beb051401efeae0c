#include "mime/AddressList.h"

#include "mime/HeaderDecoder.h"
#include "mime/MessageLimits.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace
{

/// One member of a list, its display name still encoded.
struct Member {
    QByteArray text;    // outside angle brackets and comments; quotes and what they hold included
    QByteArray angle;   // inside the last angle brackets
    QByteArray comment; // inside the last comment
    bool hasAngle = false;
    bool atComma = false; // a comma ended it

    [[nodiscard]] bool isEmpty() const
    {
        return text.trimmed().isEmpty() && !hasAngle && comment.trimmed().isEmpty();
    }
    /// The part before a comma that is inside a name.
    [[nodiscard]] bool isHalfName() const
    {
        return atComma && !hasAngle && !text.trimmed().isEmpty() && !text.contains('@');
    }
};

class MemberReader
{
public:
    explicit MemberReader(const QByteArray &list) : m_list(list) {}

    /// The next member that holds anything; nothing at the end of the list.
    std::optional<Member> next()
    {
        while (m_at < m_list.size()) {
            Member member = read();
            if (!member.isEmpty())
                return member;
        }
        return std::nullopt;
    }

private:
    /// Without a closing bracket an address ends with its member.
    Member read()
    {
        Member member;
        QByteArray *part = &member.text;
        while (m_at < m_list.size()) {
            const char c = m_list[m_at++];
            if (c == ',' || c == ';') {
                member.atComma = c == ',';
                return member;
            }
            if (c == ':' && part == &member.text)
                member = {}; // what came before was the name of a group
            else if (c == '"')
                *part += '"' + takeQuoted() + '"';
            else if (c == '(')
                member.comment = takeComment();
            else if (c == '<') {
                part = &member.angle;
                part->clear();
                member.hasAngle = true;
            } else if (c == '>')
                part = &member.text;
            else
                *part += c;
        }
        return member;
    }

    /// Up to the closing quote; backslashes stay. Without one the quote means nothing.
    QByteArray takeQuoted()
    {
        const qsizetype start = m_at;
        for (qsizetype i = start; i < m_lastQuote; ++i) {
            if (m_list[i] == '\\')
                ++i;
            else if (m_list[i] == '"')
                return take(i, 1);
        }
        return m_lastQuote > start ? take(m_lastQuote, 1) : QByteArray();
    }

    QByteArray takeComment()
    {
        int depth = 1;
        for (qsizetype i = m_at; i < m_list.size(); ++i) {
            if (m_list[i] == '\\')
                ++i;
            else if (m_list[i] == '(')
                ++depth;
            else if (m_list[i] == ')' && --depth == 0)
                return take(i, 1);
        }
        return take(m_list.size(), 0);
    }

    QByteArray take(qsizetype end, qsizetype closing)
    {
        const qsizetype start = m_at;
        m_at = qMin(end + closing, m_list.size());
        return m_list.mid(start, end - start);
    }

    const QByteArray &m_list;
    const qsizetype m_lastQuote = m_list.lastIndexOf('"');
    qsizetype m_at = 0;
};

/// A display name without its quotes.
QString nameText(const QByteArray &encoded)
{
    QByteArray name;
    bool escaped = false;
    for (const char c : encoded) {
        if (!escaped && (c == '"' || c == '\\')) {
            escaped = c == '\\';
            continue;
        }
        escaped = false;
        name += c;
    }
    return decodeHeaderText(name).trimmed();
}

QString addressText(QByteArrayView encoded)
{
    return decodeHeaderText(encoded.trimmed()).trimmed();
}

/// A member without angle brackets: the word with "@" is the address, what is around it the name.
Mailbox bareMailbox(const QByteArray &text)
{
    const qsizetype at = text.lastIndexOf('@');
    if (at < 0 || text.startsWith('"')) {
        const QString address = addressText(text);
        const qsizetype angle = address.endsWith(u'>') ? address.lastIndexOf(u'<') : -1;
        if (angle < 0)
            return {{}, address};
        return {address.first(angle).trimmed(),
                address.sliced(angle + 1).chopped(1).trimmed()}; // in one word
    }
    const qsizetype start = text.lastIndexOf(' ', at) + 1;
    const qsizetype blank = text.indexOf(' ', at);
    const qsizetype end = blank < 0 ? text.size() : blank;
    return {nameText(text.first(start) + text.sliced(end)), addressText(text.sliced(start, end - start))};
}

Mailbox mailboxOf(const Member &member)
{
    const QByteArray text = member.text.trimmed();
    Mailbox mailbox;
    if (member.hasAngle)
        mailbox = {nameText(text), addressText(member.angle)};
    if (mailbox.address.isEmpty())
        mailbox = bareMailbox(text.simplified());
    if (mailbox.name.isEmpty())
        mailbox.name = nameText(member.comment);
    return mailbox;
}

} // namespace

QList<Mailbox> parseMailboxes(QByteArrayView raw, QByteArrayView rawCharset)
{
    const QByteArray list = normaliseHeader(raw, rawCharset);
    MemberReader reader(list);
    QList<Mailbox> mailboxes;
    const auto add = [&](const Member &member) {
        if (Mailbox mailbox = mailboxOf(member); !mailbox.address.isEmpty())
            mailboxes.append(std::move(mailbox));
    };
    std::optional<Member> half; // may be the first half of the next member's name
    while (mailboxes.size() < MessageLimits::mailboxes) {
        std::optional<Member> member = reader.next();
        if (half && member && member->hasAngle && !member->text.trimmed().isEmpty() &&
            !member->text.contains('"')) {
            member->text = half->text + ',' + member->text;
            half.reset();
        }
        if (half)
            add(*half);
        half.reset();
        if (!member)
            break;
        if (member->isHalfName())
            half = std::move(member);
        else
            add(*member);
    }
    return mailboxes;
}
