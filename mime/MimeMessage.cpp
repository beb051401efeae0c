#include "mime/MimeMessage.h"

#include "mime/HeaderDecoder.h"
#include "mime/MessageSource.h"
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

/// The addresses of a normalised list, group names removed. Lists are cut here because the parser follows
/// nested groups without a limit; so ";" between addresses, a habit of many people, separates them too.
QByteArrayList splitAddresses(const QByteArray &list)
{
    QByteArrayList addresses;
    QByteArray address;
    bool quoted = false;
    bool inAngle = false;
    int commentDepth = 0;
    for (qsizetype i = 0; i < list.size(); ++i) {
        const char c = list[i];
        const bool plain = !quoted && commentDepth == 0;
        if (c == '\\' && !plain && i + 1 < list.size()) {
            address.append(c).append(list[++i]);
            continue;
        }
        if (c == '"' && commentDepth == 0)
            quoted = !quoted;
        else if (!quoted && (c == '(' || (c == ')' && commentDepth > 0)))
            commentDepth += c == '(' ? 1 : -1;
        else if (plain && (c == '<' || c == '>'))
            inAngle = c == '<';
        const bool separator = plain && !inAngle && (c == ',' || c == ';');
        if (separator)
            addresses << std::exchange(address, {});
        else if (plain && !inAngle && c == ':')
            address.clear(); // what came before was the name of a group
        else
            address.append(c);
    }
    addresses << address;
    return addresses;
}

QList<Mailbox> parseMailboxes(const QByteArray &rawValue)
{
    QList<Mailbox> mailboxes;
    for (const QByteArray &one : splitAddresses(normaliseHeader(rawValue))) {
        const GObjectPtr<InternetAddressList> list(
            internet_address_list_parse(tolerantOptions(), one.constData()));
        for (int i = 0; list && i < internet_address_list_length(list.get()); ++i) {
            InternetAddress *address = internet_address_list_get_address(list.get(), i);
            if (!INTERNET_ADDRESS_IS_MAILBOX(address))
                continue;
            const QString email =
                decodeHeaderText(internet_address_mailbox_get_addr(INTERNET_ADDRESS_MAILBOX(address)));
            if (!email.isEmpty())
                mailboxes.append({decodeHeaderText(internet_address_get_name(address)).trimmed(), email});
        }
    }
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
