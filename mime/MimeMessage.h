#pragma once

#include "mime/MessageParts.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <utility>

class HeaderFields;

/// The address of one recipient.
struct MimeRecipient {
    int ReType = 0; ///< 0 To, 1 Cc, 2 Bcc
    QString EMail;  ///< address without display name; never empty
};

/// An Internet message (RFC 5322, MIME) as a reader wants it: everything decoded, nothing ever refused.
/// Whatever the octets are, each member gives something: damaged parts give what can be read of them. The
/// members carry the names by which the mailbox download asks for them.
class MimeMessage
{
public:
    /// octets: the message as retrieved, dots unstuffed. They are kept, not copied, until the message and its
    /// attachments are gone; the two bodies are decoded at once, attachments when asked for.
    explicit MimeMessage(QByteArray octets);

    /// For a message that the reader above did not survive: subject, sender, date and priority from the first
    /// 64 KiB (raw octets read without the charset of the text), no recipients and no bodies, and the original
    /// octets as the only attachment, 邮件原文.eml. Takes no library to it but the charset converters.
    [[nodiscard]] static MimeMessage readPlainly(QByteArray octets);

    /// To, Cc and Bcc in the order in which the header names them, members of groups included.
    [[nodiscard]] const QList<MimeRecipient> &Recipients() const { return m_recipients; }
    /// One line; blanks at the ends kept, but for the one after the colon. Empty when there is none.
    [[nodiscard]] const QString &Subject() const { return m_subject; }
    /// "type/subtype" of the whole message without parameters, letter case as written; "text/plain" when
    /// absent or unreadable.
    [[nodiscard]] const QString &ContentType() const { return m_parts.contentType; }
    /// The first text/plain part that is no attachment, line ends as in the message (CR LF over POP3),
    /// without the line end that closes the message. Empty when there is none, even when there is HTML. The
    /// raw body of a message whose structure cannot be read.
    [[nodiscard]] const QString &Body() const { return m_parts.text; }
    /// The first text/html part that is no attachment; otherwise as Body.
    [[nodiscard]] const QString &HTMLBody() const { return m_parts.html; }
    /// Display name of the first author (From, else Sender); empty when none is given.
    [[nodiscard]] const QString &FromName() const { return m_fromName; }
    /// Address of the same; empty when there is none.
    [[nodiscard]] const QString &From() const { return m_from; }
    /// 1 highest to 5 lowest, from X-Priority, Importance, X-MSMail-Priority or Priority, the first that can
    /// be read; 3 when none can.
    [[nodiscard]] int Priority() const { return m_priority; }
    /// The Date field in local time; invalid when it is absent, unreadable or outside the years 1753 to 9999.
    [[nodiscard]] const QDateTime &Date() const { return m_date; }
    /// In the order of the message.
    [[nodiscard]] const QList<MimeAttachment> &Attachments() const { return m_parts.attachments; }
    /// The same, taken out: the message's octets go with the last of them.
    [[nodiscard]] QList<MimeAttachment> takeAttachments() { return std::exchange(m_parts.attachments, {}); }

private:
    MimeMessage() = default;
    void readTop(const HeaderFields &header);
    void readRecipients(const HeaderFields &header);

    QList<MimeRecipient> m_recipients;
    QString m_subject;
    QString m_fromName;
    QString m_from;
    int m_priority = 3;
    QDateTime m_date;
    QByteArray m_rawCharset; // of octets in the header that stand there as they are
    MessageParts m_parts;
};
