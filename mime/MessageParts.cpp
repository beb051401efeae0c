#include "mime/MessageParts.h"

#include "mime/CharsetDecoder.h"
#include "mime/FileNames.h"
#include "mime/HeaderDecoder.h"
#include "mime/MessageSource.h"
#include <QRegularExpression>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{
constexpr int deepestNesting = 32;
constexpr qsizetype mostAttachments = 2000;

using DispositionPtr = GObjectPtr<GMimeContentDisposition>;
using ContentTypePtr = GObjectPtr<GMimeContentType>;

DispositionPtr dispositionOf(GMimeObject *part)
{
    const QByteArray raw = normaliseHeader(rawHeader(part, "Content-Disposition"));
    return DispositionPtr(
        raw.isEmpty() ? nullptr : g_mime_content_disposition_parse(tolerantOptions(), raw.constData()));
}

QString parameterText(const char *value)
{
    // Already decoded by the parser, but for words inside words.
    return value ? decodeHeaderText(QByteArrayView(value)) : QString();
}

/// The name that the message gives to a part, made safe; empty when it gives none.
QString givenName(GMimeObject *part)
{
    if (const DispositionPtr disposition = dispositionOf(part)) {
        const QString name = safeFileName(
            parameterText(g_mime_content_disposition_get_parameter(disposition.get(), "filename")));
        if (!name.isEmpty())
            return name;
    }
    const QByteArray raw = normaliseHeader(rawHeader(part, "Content-Type"));
    if (raw.isEmpty())
        return {};
    const ContentTypePtr type(g_mime_content_type_parse(tolerantOptions(), raw.constData()));
    return safeFileName(parameterText(g_mime_content_type_get_parameter(type.get(), "name")));
}

bool isMarkedAttachment(GMimeObject *part)
{
    const DispositionPtr disposition = dispositionOf(part);
    return disposition &&
           qstricmp(g_mime_content_disposition_get_disposition(disposition.get()), "attachment") == 0;
}

bool isText(GMimeObject *part, const char *subtype)
{
    GMimeContentType *type = g_mime_object_get_content_type(part);
    return !type || g_mime_content_type_is_type(type, "text", subtype);
}

QByteArray charsetOf(GMimeObject *part)
{
    GMimeContentType *type = g_mime_object_get_content_type(part);
    return type ? QByteArray(g_mime_content_type_get_parameter(type, "charset")) : QByteArray();
}

/// The charset that an HTML page names for itself.
QByteArray metaCharset(const QByteArray &html)
{
    constexpr qsizetype looked = 2048; // it stands in the head
    static const QRegularExpression pattern(u"<meta[^>]*charset\\s*=\\s*[\"']?([A-Za-z0-9_-]+)"_s,
                                            QRegularExpression::CaseInsensitiveOption);
    return pattern.match(QString::fromLatin1(html.left(looked))).captured(1).toLatin1();
}

QString subjectOf(GMimeMessage *message)
{
    return message ? decodeHeaderText(rawHeader(GMIME_OBJECT(message), "Subject")) : QString();
}

/// Octets of the line end that closes a message. The one before a boundary belongs to the boundary (RFC 2046,
/// 5.1.1); this one is treated alike.
qsizetype closingLineEnd(QByteArrayView octets)
{
    return octets.endsWith("\r\n") ? 2 : octets.endsWith('\n') ? 1 : 0;
}

class PartCollector
{
public:
    explicit PartCollector(std::shared_ptr<const MessageSource> source) : m_source(std::move(source)) {}

    MessageParts collect()
    {
        GMimeObject *root = m_source->structure();
        walk(root, nullptr, 0);
        return std::move(m_parts);
    }

private:
    void walk(GMimeObject *part, GMimeObject *parent, int depth)
    {
        if (GMIME_IS_MULTIPART(part) && depth < deepestNesting) {
            auto *multipart = GMIME_MULTIPART(part);
            for (int i = 0; i < g_mime_multipart_get_count(multipart); ++i)
                walk(g_mime_multipart_get_part(multipart, i), part, depth + 1);
        } else if (GMIME_IS_PART(part) && isBody(part, parent)) {
            takeBody(GMIME_PART(part), parent);
        } else if (!GMIME_IS_PART(part) || !isLesserAlternative(part, parent)) {
            attach(part);
        }
    }

    [[nodiscard]] bool isBody(GMimeObject *part, GMimeObject *parent) const
    {
        const bool plain = isText(part, "plain") && !m_hasText;
        const bool html = isText(part, "html") && !m_hasHtml;
        if ((!plain && !html) || isMarkedAttachment(part))
            return false;
        // Some programs name their bodies; outside mixed multiparts that makes no attachment of them.
        return !parent || isAlternative(parent) || givenName(part).isEmpty();
    }

    static bool isAlternative(GMimeObject *part)
    {
        return g_mime_content_type_is_type(g_mime_object_get_content_type(part), "multipart", "alternative");
    }

    /// Another rendering of a body that was taken from the same multipart/alternative.
    [[nodiscard]] bool isLesserAlternative(GMimeObject *part, GMimeObject *parent) const
    {
        return parent && parent == m_bodyParent && isAlternative(parent) && isText(part, "*") &&
               !isText(part, "calendar") && !isMarkedAttachment(part);
    }

    void takeBody(GMimePart *part, GMimeObject *parent)
    {
        auto *object = GMIME_OBJECT(part);
        QByteArray octets = decodedContent(part);
        // Base64 encodes exactly what is meant.
        if (!parent && g_mime_part_get_content_encoding(part) != GMIME_CONTENT_ENCODING_BASE64)
            octets.chop(closingLineEnd(octets));
        QByteArray charset = charsetOf(object);
        m_bodyParent = parent;
        if (isText(object, "html")) {
            if (charset.isEmpty() || charset.compare("us-ascii", Qt::CaseInsensitive) == 0)
                charset = metaCharset(octets);
            m_parts.html = decodeText(octets, charset);
            m_hasHtml = true;
        } else {
            m_parts.text = decodeText(octets, charset);
            m_hasText = true;
        }
    }

    void attach(GMimeObject *part)
    {
        if (m_parts.attachments.size() >= mostAttachments)
            return;
        QString name = givenName(part);
        if (name.isEmpty() && GMIME_IS_MESSAGE_PART(part)) {
            name = safeFileName(subjectOf(g_mime_message_part_get_message(GMIME_MESSAGE_PART(part))));
            name += name.isEmpty() ? QString() : u".eml"_s;
        }
        if (name.isEmpty())
            name = fileNameForType(contentTypeOf(part), static_cast<int>(m_parts.attachments.size()) + 1);
        m_parts.attachments.append(MimeAttachment(m_source, part, name));
    }

    std::shared_ptr<const MessageSource> m_source;
    MessageParts m_parts;
    bool m_hasText = false;
    bool m_hasHtml = false;
    GMimeObject *m_bodyParent = nullptr;
};

/// The boundary that a multipart's text evidently uses: a line "--x" followed by a part's header. Empty if
/// none.
QByteArray evidentBoundary(QByteArrayView body)
{
    constexpr qsizetype looked = 64LL * 1024;
    static const QRegularExpression pattern(u"(?:^|\\n)--([^\\r\\n]{1,200})\\r?\\nContent-"_s,
                                            QRegularExpression::CaseInsensitiveOption);
    const QString text = QString::fromLatin1(body.first(qMin(body.size(), looked)));
    return pattern.match(text).captured(1).trimmed().toLatin1();
}

/// A message whose structure cannot be read.
MessageParts unstructured(QByteArrayView body)
{
    return {decodeText(body.chopped(closingLineEnd(body)), {}), {}, {}};
}

/// A multipart without parts: its boundary is missing or wrong.
MessageParts collectBoundless(const std::shared_ptr<const MessageSource> &source)
{
    const QByteArrayView body = source->rawBody();
    const QByteArray boundary = evidentBoundary(body);
    if (!boundary.isEmpty() && !boundary.contains('"') && !boundary.contains('\\')) {
        const QByteArray header = "Content-Type: multipart/mixed; boundary=\"" + boundary + "\"\r\n\r\n";
        const auto repaired = std::make_shared<const MessageSource>(header + body.toByteArray());
        GMimeObject *root = repaired->structure();
        if (root && GMIME_IS_MULTIPART(root) && g_mime_multipart_get_count(GMIME_MULTIPART(root)) > 0)
            return PartCollector(repaired).collect();
    }
    return unstructured(body);
}
} // namespace

MimeAttachment::MimeAttachment(std::shared_ptr<const MessageSource> source, GMimeObject *part, QString name)
    : m_source(std::move(source)), m_part(part), m_name(std::move(name))
{
}

QString MimeAttachment::ContentType() const
{
    return contentTypeOf(m_part);
}

QByteArray MimeAttachment::BinaryData() const
{
    if (GMIME_IS_PART(m_part))
        return decodedContent(GMIME_PART(m_part));
    const GObjectPtr<GMimeStream> stream(g_mime_stream_mem_new());
    // The library writes LF unless told otherwise; messages have CR LF.
    static GMimeFormatOptions *const format = [] {
        auto *crLf = g_mime_format_options_new();
        g_mime_format_options_set_newline_format(crLf, GMIME_NEWLINE_FORMAT_DOS);
        return crLf;
    }();
    if (GMIME_IS_MESSAGE_PART(m_part)) {
        if (GMimeMessage *message = g_mime_message_part_get_message(GMIME_MESSAGE_PART(m_part)))
            g_mime_object_write_to_stream(GMIME_OBJECT(message), format, stream.get());
    } else {
        g_mime_object_write_to_stream(m_part, format, stream.get());
    }
    const GByteArray *octets = g_mime_stream_mem_get_byte_array(GMIME_STREAM_MEM(stream.get()));
    return {reinterpret_cast<const char *>(octets->data), static_cast<qsizetype>(octets->len)};
}

QString contentTypeOf(GMimeObject *part)
{
    GMimeContentType *type = part ? g_mime_object_get_content_type(part) : nullptr;
    if (!type)
        return u"text/plain"_s;
    return QString::fromUtf8(g_mime_content_type_get_media_type(type)) + u'/' +
           QString::fromUtf8(g_mime_content_type_get_media_subtype(type));
}

MessageParts collectParts(const std::shared_ptr<const MessageSource> &source)
{
    GMimeObject *root = source->structure();
    if (!root)
        return unstructured(source->rawBody());
    if (GMIME_IS_MULTIPART(root) && g_mime_multipart_get_count(GMIME_MULTIPART(root)) == 0)
        return collectBoundless(source);
    return PartCollector(source).collect();
}
