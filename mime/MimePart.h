#pragma once

#include "mime/ContentField.h"
#include "mime/HeaderFields.h"
#include "mime/TransferEncoding.h"

#include <QByteArrayView>
#include <QList>
#include <QString>

/// One part of a message as views into its octets, which must outlive it; a message itself is one too.
class MimePart
{
public:
    /// rawCharset: of octets in its header that stand there as they are.
    explicit MimePart(QByteArrayView octets, const QByteArray &typeWithoutField = "text/plain",
                      QByteArrayView rawCharset = {});

    [[nodiscard]] const HeaderFields &header() const { return m_header; }
    /// Behind the header, undecoded.
    [[nodiscard]] QByteArrayView body() const { return m_body; }
    /// "type/subtype" as written; "text/plain" when the part names none or none that can be read.
    [[nodiscard]] QString contentType() const;
    /// Letter case ignored; a subtype of "*" is any.
    [[nodiscard]] bool isType(QByteArrayView type, QByteArrayView subtype) const;
    [[nodiscard]] bool isMultipart() const { return isType("multipart", "*"); }
    /// The charset parameter; empty when there is none.
    [[nodiscard]] QByteArray charset() const { return m_type.parameter("charset").toLatin1(); }
    [[nodiscard]] TransferEncoding encoding() const { return m_encoding; }
    [[nodiscard]] bool isMarkedAttachment() const;
    /// The name that the message gives to the part, made safe; empty when it gives none.
    [[nodiscard]] QString fileName() const;
    /// The body with its transfer encoding undone.
    [[nodiscard]] QByteArray decodedBody() const;
    /// The octets of each part of a multipart, at most that many. Empty when no boundary occurs.
    [[nodiscard]] QList<QByteArrayView> children(qsizetype most) const;

private:
    HeaderFields m_header;
    QByteArrayView m_body;
    ContentField m_type;
    QByteArray m_mediaType;
    ContentField m_disposition;
    TransferEncoding m_encoding;
};
