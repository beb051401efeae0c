#pragma once

#include <QList>
#include <QString>
#include <memory>

class MessageSource;
// The library's own name for it, which keeps its headers out of ours.
using GMimeObject = struct _GMimeObject; // NOLINT(bugprone-reserved-identifier)

/// One attachment of a message: any part with disposition attachment or a file name, any part that is not
/// text (pictures inside HTML too), enclosed messages, and text parts that do not fit into the two bodies.
class MimeAttachment
{
public:
    MimeAttachment(std::shared_ptr<const MessageSource> source, GMimeObject *part, QString name);

    /// File name, safe on any system; made from the type where the message gives none. Never empty.
    [[nodiscard]] const QString &Name() const { return m_name; }
    /// "type/subtype" without parameters, letter case as written; "message/rfc822" for an enclosed message.
    [[nodiscard]] QString ContentType() const;
    /// The octets, transfer encoding undone; decoded anew at every call, so keep the result. Those of an
    /// enclosed message are its source text.
    [[nodiscard]] QByteArray BinaryData() const;

private:
    std::shared_ptr<const MessageSource> m_source; // owns m_part
    GMimeObject *m_part;
    QString m_name;
};

/// What a reader sees of a message.
struct MessageParts {
    QString text;
    QString html;
    QList<MimeAttachment> attachments;
};

/// "type/subtype" as written; "text/plain" when the part names none.
[[nodiscard]] QString contentTypeOf(GMimeObject *part);

/// Walks the structure in the order of the message. Deeper nesting than 32 is taken as one attachment, and
/// parts after the 2,000th attachment are left out. A multipart whose boundary does not occur is read with
/// the boundary that its text evidently uses, else its text is the body.
[[nodiscard]] MessageParts collectParts(const std::shared_ptr<const MessageSource> &source);
