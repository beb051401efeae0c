#include "platform/pop3/MimeMessage.h"

#include "platform/pop3/HeaderDecoder.h"
#include "platform/pop3/MessageSource.h"
#include <optional>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{
constexpr int usualPriority = 3;

struct Mailbox {
    QString name;
    QString address;
};

void appendMailboxes(InternetAddressList *list, QList<Mailbox> &mailboxes)
{
    for (int i = 0; list && i < internet_address_list_length(list); ++i) {
        InternetAddress *address = internet_address_list_get_address(list, i);
        if (INTERNET_ADDRESS_IS_GROUP(address)) {
            appendMailboxes(internet_address_group_get_members(INTERNET_ADDRESS_GROUP(address)), mailboxes);
            continue;
        }
        const auto *mailbox = INTERNET_ADDRESS_MAILBOX(address);
        const QString text =
            decodeHeaderText(internet_address_mailbox_get_addr(const_cast<InternetAddressMailbox *>(mailbox)));
        if (!text.isEmpty())
            mailboxes.append({decodeHeaderText(internet_address_get_name(address)).trimmed(), text});
    }
}

QList<Mailbox> parseMailboxes(const QByteArray &rawValue)
{
    QList<Mailbox> mailboxes;
    const GObjectPtr<InternetAddressList> list(
        internet_address_list_parse(tolerantOptions(), normaliseHeader(rawValue).constData()));
    appendMailboxes(list.get(), mailboxes);
    return mailboxes;
}

/// A priority as any of the four fields writes it: a digit first, or a word.
std::optional<int> priorityOf(const QByteArray &rawValue)
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
    const auto source = std::make_shared<const MessageSource>(std::move(octets));
    m_subject = decodeHeaderText(source->headerValues("Subject").value(0));
    m_contentType = contentTypeOf(source->structure());
    readRecipients(*source);
    readAuthor(*source);
    readPriority(*source);
    readDate(*source);
    m_parts = collectParts(source);
}

void MimeMessage::readRecipients(const MessageSource &source)
{
    const QByteArrayList kinds = {"to", "cc", "bcc"}; // index is the ReType
    for (const auto &[name, value] : source.headerFields(kinds)) {
        for (const Mailbox &mailbox : parseMailboxes(value))
            m_recipients.append({static_cast<int>(kinds.indexOf(name)), mailbox.address});
    }
}

void MimeMessage::readAuthor(const MessageSource &source)
{
    for (const char *name : {"From", "Sender"}) {
        for (const QByteArray &value : source.headerValues(name)) {
            const QList<Mailbox> mailboxes = parseMailboxes(value);
            if (mailboxes.isEmpty())
                continue;
            m_fromName = mailboxes.first().name;
            m_from = mailboxes.first().address;
            return;
        }
    }
}

void MimeMessage::readPriority(const MessageSource &source)
{
    for (const char *name : {"X-Priority", "Importance", "X-MSMail-Priority", "Priority"}) {
        if (const std::optional<int> priority = priorityOf(source.headerValues(name).value(0))) {
            m_priority = *priority;
            return;
        }
    }
}

void MimeMessage::readDate(const MessageSource &source)
{
    const QByteArray value = source.headerValues("Date").value(0).trimmed();
    if (value.isEmpty())
        return;
    GDateTime *parsed = g_mime_utils_header_decode_date(value.constData());
    if (!parsed)
        return;
    const QDateTime date = QDateTime::fromSecsSinceEpoch(g_date_time_to_unix(parsed));
    g_date_time_unref(parsed);
    if (date.date().year() >= 1753 && date.date().year() <= 9999) // what date-time columns hold
        m_date = date;
}
