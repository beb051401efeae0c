#include "mime/MessageParts.h"

#include "mime/CharsetDecoder.h"
#include "mime/FileNames.h"
#include "mime/HeaderDecoder.h"
#include "mime/HtmlText.h"
#include "mime/MessageLimits.h"
#include "mime/MimePart.h"
#include "mime/UuencodedFile.h"

#include <QRegularExpression>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{

/// The charset that an HTML page names for itself.
QByteArray metaCharset(const QByteArray &html)
{
    constexpr qsizetype looked = 2048; // it is in the head
    static const QRegularExpression pattern(u"<meta[^>]*charset\\s*=\\s*[\"']?([A-Za-z0-9_-]+)"_s,
                                            QRegularExpression::CaseInsensitiveOption);
    return pattern.match(QString::fromLatin1(html.left(looked))).captured(1).toLatin1();
}

class PartCollector
{
public:
    explicit PartCollector(MessageOctets source) : m_source(std::move(source)) {}

    MessageParts collect(qsizetype at)
    {
        const MimePart root(QByteArrayView(*m_source).sliced(at));
        m_parts.contentType = root.contentType();
        walk(root, nullptr, 0);
        if (isAlternative(root) && m_parts.text.isEmpty())
            m_parts.text = textOfHtml(m_parts.html);
        if (m_leftOut)
            m_parts.attachments.append(originalAttachment(m_source));
        return std::move(m_parts);
    }

private:
    void walk(const MimePart &part, const MimePart *parent, int depth)
    {
        if (part.isMultipart() && depth < MessageLimits::nesting)
            walkChildren(part, parent, depth);
        else if (isBody(part, parent))
            takeBody(part, parent);
        else if (!isLesserAlternative(part, parent))
            attach(part);
    }

    void walkChildren(const MimePart &part, const MimePart *parent, int depth)
    {
        const QList<QByteArrayView> children = part.children(MessageLimits::parts - m_seen + 1);
        for (const QByteArrayView child : children) {
            if (m_seen == MessageLimits::parts) {
                m_leftOut = true;
                return;
            }
            ++m_seen;
            walk(MimePart(child, part.isType("multipart", "digest") ? "message/rfc822" : "text/plain",
                          charsetOfHeader({}, m_parts.charset)),
                 &part, depth + 1);
        }
        if (m_bodyParent == &part)
            m_bodyParent = nullptr; // it is left for good
        if (!children.isEmpty() || part.body().trimmed().isEmpty())
            return;
        if (!m_hasText && !part.isMarkedAttachment())
            takeUnstructured(part.body());
        else if (parent)
            attach(part);
    }

    [[nodiscard]] bool isBody(const MimePart &part, const MimePart *parent) const
    {
        const bool plain = part.isType("text", "plain") && !m_hasText;
        const bool html = part.isType("text", "html") && !m_hasHtml;
        if ((!plain && !html) || part.isMarkedAttachment())
            return false;
        // Some programs name their bodies; outside mixed multiparts that makes no attachment of them.
        return !parent || !parent->isType("multipart", "mixed") || part.fileName().isEmpty();
    }

    static bool isAlternative(const MimePart &part) { return part.isType("multipart", "alternative"); }

    /// Another rendering of a body that was taken from the same multipart/alternative.
    [[nodiscard]] bool isLesserAlternative(const MimePart &part, const MimePart *parent) const
    {
        return parent && parent == m_bodyParent && isAlternative(*parent) && part.isType("text", "*") &&
               !part.isType("text", "calendar") && !part.isMarkedAttachment();
    }

    void takeBody(const MimePart &part, const MimePart *parent)
    {
        QByteArray octets = part.decodedBody();
        // Base64 encodes exactly what is meant.
        if (!parent && part.encoding() != TransferEncoding::Base64)
            octets.truncate(withoutLineEnd(octets).size());
        QByteArray charset = part.charset();
        if (m_parts.charset.isEmpty())
            m_parts.charset = charset;
        m_bodyParent = parent;
        if (part.isType("text", "html")) {
            if (charset.isEmpty() || charset.compare("us-ascii", Qt::CaseInsensitive) == 0)
                charset = metaCharset(octets);
            m_parts.html = decodeText(octets, charset);
            m_hasHtml = true;
        } else {
            m_hasText = true;
            m_parts.text = decodeText(takeEncodedFiles(octets), charset);
        }
    }

    /// A multipart that shows no parts.
    void takeUnstructured(QByteArrayView body)
    {
        m_parts.text = decodeText(withoutLineEnd(body), {});
        m_hasText = true;
    }

    /// Attaches the files that a text carries; gives the text without them.
    QByteArray takeEncodedFiles(const QByteArray &text)
    {
        QByteArray rest;
        qsizetype at = 0;
        while (m_seen < MessageLimits::parts) {
            const auto file = findUuencodedFile(text, at);
            if (!file)
                break;
            ++m_seen;
            rest += QByteArrayView(text).sliced(at, file->start - at);
            at = file->end;
            const auto octets = std::make_shared<const QByteArray>(file->octets);
            const QString type = u"application/octet-stream"_s;
            m_parts.attachments.append(MimeAttachment(
                nameOr(safeFileName(decodeHeaderText(file->name)), type), type, {octets, *octets}));
        }
        return at == 0 ? text : rest + text.sliced(at);
    }

    [[nodiscard]] QString nameOr(const QString &name, const QString &type) const
    {
        return name.isEmpty() ? fileNameForType(type, static_cast<int>(m_parts.attachments.size()) + 1)
                              : name;
    }

    void attach(const MimePart &part)
    {
        QString name = part.fileName();
        if (name.isEmpty() && part.isType("message", "rfc822")) {
            const QByteArray message = part.encoding() == TransferEncoding::None
                                           ? QByteArray::fromRawData(part.body().data(), part.body().size())
                                           : part.decodedBody();
            name = safeFileName(decodeHeaderText(HeaderFields(message).value("Subject")));
            name += name.isEmpty() ? QString() : u".eml"_s;
        }
        m_parts.attachments.append(
            MimeAttachment(nameOr(name, part.contentType()), part.contentType(),
                           {m_source, part.body(), part.encoding(), part.isType("text", "*")}));
    }

    MessageOctets m_source;
    MessageParts m_parts;
    int m_seen = 0; // parts of all kinds
    bool m_leftOut = false;
    bool m_hasText = false;
    bool m_hasHtml = false;
    const MimePart *m_bodyParent = nullptr;
};

} // namespace

MimeAttachment::MimeAttachment(QString name, QString contentType, Content content)
    : m_name(std::move(name)), m_contentType(std::move(contentType)), m_content(std::move(content))
{
}

QByteArray MimeAttachment::BinaryData() const
{
    return decodeTransfer(m_content.octets, m_content.encoding, m_content.isText);
}

MessageParts collectParts(const MessageOctets &source, qsizetype at)
{
    return PartCollector(source).collect(at);
}

MimeAttachment originalAttachment(const MessageOctets &source)
{
    return {u"邮件原文.eml"_s, u"message/rfc822"_s, {source, *source}};
}
