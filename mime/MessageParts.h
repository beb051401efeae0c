#pragma once

#include "mime/TransferEncoding.h"

#include <QList>
#include <QString>
#include <memory>

/// The octets of a message, kept until the last attachment is gone.
using MessageOctets = std::shared_ptr<const QByteArray>;

/// One attachment of a message: any part with disposition attachment or a file name, any part that is not
/// text (pictures inside HTML too), enclosed messages, text parts that do not fit into the two bodies, and
/// files that the text itself carries in uuencode.
class MimeAttachment
{
public:
    struct Content {
        MessageOctets source;
        QByteArrayView octets; ///< in source, as transferred
        TransferEncoding encoding = TransferEncoding::None;
        bool isText = false;
    };
    MimeAttachment(QString name, QString contentType, Content content);

    /// File name, safe on any system; made from the type where the message gives none. Never empty.
    [[nodiscard]] const QString &Name() const { return m_name; }
    /// "type/subtype" without parameters, letter case as written; "message/rfc822" for an enclosed message.
    [[nodiscard]] const QString &ContentType() const { return m_contentType; }
    /// The octets, transfer encoding undone; decoded anew at every call, so keep the result. Those of an
    /// enclosed message are its source, octet for octet.
    [[nodiscard]] QByteArray BinaryData() const;

private:
    QString m_name;
    QString m_contentType;
    Content m_content;
};

/// What a reader sees of a message.
struct MessageParts {
    QString contentType; ///< of the whole message, "type/subtype" as written; "text/plain" when unreadable
    QByteArray charset;  ///< label of the first body
    QString text;
    QString html;
    QList<MimeAttachment> attachments;
};

/// Walks the structure (RFC 2046) from octet at on, in the order of the message and within MessageLimits. The text
/// of a multipart whose boundary does not occur is the body.
[[nodiscard]] MessageParts collectParts(const MessageOctets &source, qsizetype at);

/// The original as an attachment, for a message that is not shown in full.
[[nodiscard]] MimeAttachment originalAttachment(const MessageOctets &source);
