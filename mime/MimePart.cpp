#include "mime/MimePart.h"

#include "mime/FileNames.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

/// The first field that can be read, for some programs write two.
ContentField contentTypeField(const HeaderFields &header, QByteArrayView rawCharset)
{
    for (const QByteArrayView value : header.values("Content-Type")) {
        ContentField field(value, rawCharset);
        if (field.isMediaType())
            return field;
    }
    return ContentField(header.value("Content-Type"), rawCharset);
}

QByteArrayView withoutBlanksBehind(QByteArrayView line)
{
    while (!line.isEmpty() && static_cast<unsigned char>(line.back()) <= 0x20)
        line.chop(1);
    return line;
}

/// RFC 2046, 5.1.1. The line end before a boundary belongs to the boundary. Without a closing boundary the
/// last part goes to the end.
QList<QByteArrayView> split(QByteArrayView body, const QByteArray &boundary, qsizetype most)
{
    QList<QByteArrayView> parts;
    if (boundary.isEmpty())
        return parts;
    const QByteArray mark = "--" + boundary;
    qsizetype start = -1; // of the part that is open
    qsizetype at = 0;
    const auto close = [&](qsizetype end) {
        if (start >= 0)
            parts.append(withoutLineEnd(body.sliced(start, end - start)));
    };
    while (at < body.size() && parts.size() < most) {
        const QByteArrayView line = firstLine(body.sliced(at));
        if (line.startsWith(mark)) {
            const QByteArrayView rest = withoutBlanksBehind(line.sliced(mark.size()));
            if (rest.isEmpty() || rest == "--") {
                close(at);
                start = rest.isEmpty() ? at + line.size() : -1;
                if (!rest.isEmpty() && !parts.isEmpty())
                    return parts;
            }
        }
        at += line.size();
    }
    if (start >= 0 && parts.size() < most)
        parts.append(body.sliced(start));
    return parts;
}

/// What a body is divided by whose header names no boundary, or the wrong one: "--" and more in front of a part's header.
QByteArray boundaryIn(QByteArrayView body)
{
    for (qsizetype at = 0; at < body.size();) {
        const QByteArrayView line = firstLine(body.sliced(at));
        at += line.size();
        const QByteArrayView next = body.sliced(at);
        if (line.startsWith("--") && (next.startsWith("Content-") || next.startsWith("content-")))
            return withoutBlanksBehind(line.sliced(2)).toByteArray();
    }
    return {};
}

} // namespace

MimePart::MimePart(QByteArrayView octets, const QByteArray &typeWithoutField, QByteArrayView rawCharset)
    : m_header(octets),
      m_body(octets.sliced(m_header.bodyAt())),
      m_type(contentTypeField(m_header, rawCharset)),
      m_mediaType(m_type.isMediaType() ? m_type.value() : typeWithoutField),
      m_disposition(m_header.value("Content-Disposition"), rawCharset),
      m_encoding(transferEncodingOf(m_header.value("Content-Transfer-Encoding")))
{
}

QString MimePart::contentType() const
{
    return QString::fromUtf8(m_mediaType);
}

bool MimePart::isType(QByteArrayView type, QByteArrayView subtype) const
{
    const QByteArrayView view(m_mediaType);
    const qsizetype slash = view.indexOf('/');
    return view.first(slash).compare(type, Qt::CaseInsensitive) == 0 &&
           (subtype == "*" || view.sliced(slash + 1).compare(subtype, Qt::CaseInsensitive) == 0);
}

bool MimePart::isMarkedAttachment() const
{
    return m_disposition.value().compare("attachment", Qt::CaseInsensitive) == 0;
}

QString MimePart::fileName() const
{
    const QString name = safeFileName(m_disposition.parameter("filename"));
    return name.isEmpty() ? safeFileName(m_type.parameter("name")) : name;
}

QByteArray MimePart::decodedBody() const
{
    return decodeTransfer(m_body, m_encoding, isType("text", "*"));
}

QList<QByteArrayView> MimePart::children(qsizetype most) const
{
    const QByteArray boundary = withoutBlanksBehind(m_type.parameter("boundary").toUtf8()).toByteArray();
    const QList<QByteArrayView> parts = split(m_body, boundary, most);
    return parts.isEmpty() ? split(m_body, boundaryIn(m_body), most) : parts;
}
