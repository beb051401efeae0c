#include "mime/MimeMessage.h"

#include "mime/AddressList.h"
#include "mime/CharsetDecoder.h"
#include "mime/HeaderDecoder.h"
#include "mime/HeaderFields.h"
#include "mime/MailDate.h"

#include <array>
#include <optional>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{

constexpr int usualPriority = 3;

/// A priority as any of the four fields writes it: a digit first, or a word.
std::optional<int> priorityOf(QByteArrayView rawValue)
{
    const QString value = decodeHeaderText(rawValue).trimmed().toLower();
    if (!value.isEmpty() && value.front() >= u'1' && value.front() <= u'5' &&
        (value.size() == 1 || !value.at(1).isDigit()))
        return value.front().unicode() - u'0';
    if (value.startsWith(u"high") || value.startsWith(u"urgent"))
        return 1;
    if (value.startsWith(u"normal"))
        return usualPriority;
    if (value.startsWith(u"low") || value.startsWith(u"non-urgent"))
        return 5;
    return std::nullopt;
}

} // namespace

MimeMessage::MimeMessage(QByteArray octets)
{
    const auto source = std::make_shared<const QByteArray>(std::move(octets));
    const qsizetype start = rubbishInFront(*source);
    const HeaderFields header(QByteArrayView(*source).sliced(start));
    m_parts = collectParts(source, start);
    readTop(header);
    readRecipients(header);
}

MimeMessage MimeMessage::readPlainly(QByteArray octets)
{
    // More than any honest header has, so that this reader costs next to nothing.
    constexpr qsizetype looked = 64LL * 1024;
    MimeMessage message;
    const auto source = std::make_shared<const QByteArray>(std::move(octets));
    const qsizetype start = rubbishInFront(QByteArrayView(*source).first(qMin(source->size(), looked)));
    const QByteArrayView rest = QByteArrayView(*source).sliced(start);
    message.readTop(HeaderFields(rest.first(qMin(rest.size(), looked))));
    message.m_parts.contentType = u"text/plain"_s;
    message.m_parts.attachments = {originalAttachment(source)};
    return message;
}

void MimeMessage::readTop(const HeaderFields &header)
{
    QByteArray raw;
    for (const HeaderField &field : header.all())
        raw += field.value;
    m_rawCharset = charsetOfHeader(raw, m_parts.charset);
    m_subject = decodeHeaderText(header.value("Subject"), m_rawCharset);
    m_date = parseMailDate(header.value("Date"));
    for (const char *name : {"X-Priority", "Importance", "X-MSMail-Priority", "Priority"}) {
        if (const std::optional<int> priority = priorityOf(header.value(name))) {
            m_priority = *priority;
            break;
        }
    }
    for (const char *name : {"From", "Sender"}) {
        for (const QByteArrayView value : header.values(name)) {
            const QList<Mailbox> mailboxes = parseMailboxes(value, m_rawCharset);
            if (mailboxes.isEmpty())
                continue;
            m_fromName = mailboxes.first().name;
            m_from = mailboxes.first().address;
            return;
        }
    }
}

void MimeMessage::readRecipients(const HeaderFields &header)
{
    static constexpr std::array kinds{"to", "cc", "bcc"}; // index is the ReType
    for (const HeaderField &field : header.all()) {
        for (int kind = 0; kind < 3; ++kind) {
            if (field.name.compare(kinds[kind], Qt::CaseInsensitive) != 0)
                continue;
            for (const Mailbox &mailbox : parseMailboxes(field.value, m_rawCharset))
                m_recipients.append({kind, mailbox.address});
        }
    }
}
