#include "mime/TransferEncoding.h"

#include "mime/HeaderFields.h"
#include "mime/UuencodedFile.h"

#include <algorithm>
#include <gmime/gmime.h>

namespace
{

/// A step of GMime's decoders over some octets.
class Decoder
{
public:
    explicit Decoder(GMimeContentEncoding encoding) { g_mime_encoding_init_decode(&m_state, encoding); }

    void decode(QByteArrayView octets, QByteArray &decoded)
    {
        const qsizetype before = decoded.size();
        const auto length = static_cast<size_t>(octets.size());
        decoded.resize(before + static_cast<qsizetype>(g_mime_encoding_outlen(&m_state, length)) + 8);
        const size_t got = g_mime_encoding_step(&m_state, octets.data(), length, decoded.data() + before);
        decoded.resize(before + static_cast<qsizetype>(got));
    }

private:
    GMimeEncoding m_state;
};

bool isBase64(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
           QByteArrayView("+/=").contains(c);
}

/// A stray octet now and then leaves a line what it is.
bool isForeign(QByteArrayView line, bool areBlanksForeign)
{
    const qsizetype foreign = std::count_if(
        line.begin(), line.end(), [&](char c) { return !isBase64(c) && (c != ' ' || areBlanksForeign); });
    return foreign > (line.contains(' ') ? line.size() / 40 : std::max<qsizetype>(1, line.size() / 16));
}

/// Base64 by lines: behind its padding it ends, unless more of it follows. A line that is none ends a text, which may
/// have a footer, and is passed over in a file.
QByteArray decodeBase64(QByteArrayView octets, bool isText)
{
    QByteArray decoded;
    decoded.reserve(octets.size() / 4 * 3 + 8);
    Decoder decoder(GMIME_CONTENT_ENCODING_BASE64);
    bool padded = false; // a piece of base64 has ended
    bool areBlanksForeign = isText;
    qsizetype digits = 0;
    qsizetype at = 0;
    while (at < octets.size()) {
        const QByteArrayView whole = firstLine(octets.sliced(at));
        const QByteArrayView line = whole.trimmed();
        const bool begins = !padded || line.size() % 4 == 0;
        const bool isNone = !line.isEmpty() && (!begins || isForeign(line, areBlanksForeign));
        if (isNone && isText)
            break;
        areBlanksForeign = areBlanksForeign || isNone;
        at += whole.size();
        if (line.isEmpty() || isNone)
            continue;
        if (padded)
            decoder = Decoder(GMIME_CONTENT_ENCODING_BASE64);
        decoder.decode(line, decoded);
        padded = line.contains('=');
        digits += std::count_if(line.begin(), line.end(), isBase64);
    }
    const QByteArrayView rest = octets.sliced(at);
    const bool footer = !rest.trimmed().isEmpty();
    if (digits == 0 || (footer && digits % 4 != 0)) // a wrong label
        return octets.toByteArray();
    // What was cut off still gives its last octets when the missing padding is put there.
    decoder.decode("==", decoded);
    if (footer)
        decoded.append(decoded.endsWith('\n') ? "" : "\r\n").append(rest);
    return decoded;
}

QByteArray decodeQuotedPrintable(QByteArrayView octets)
{
    QByteArray decoded;
    decoded.reserve(octets.size() + 8);
    Decoder decoder(GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE);
    for (qsizetype at = 0; at < octets.size();) {
        const QByteArrayView whole = firstLine(octets.sliced(at));
        QByteArrayView line = withoutLineEnd(whole);
        const QByteArrayView lineEnd = whole.sliced(line.size());
        at += whole.size();
        while (line.endsWith(' ') || line.endsWith('\t')) // added on the way: RFC 2045, 6.7
            line.chop(1);
        decoder.decode(line, decoded);
        decoder.decode(lineEnd, decoded);
    }
    return decoded;
}

} // namespace

TransferEncoding transferEncodingOf(QByteArrayView field)
{
    const QByteArray name = field.toByteArray().toLower();
    if (name.contains("base64"))
        return TransferEncoding::Base64;
    if (name.contains("quoted-printable"))
        return TransferEncoding::QuotedPrintable;
    if (name.contains("uue"))
        return TransferEncoding::Uuencode;
    return TransferEncoding::None;
}

QByteArray decodeTransfer(QByteArrayView octets, TransferEncoding encoding, bool isText)
{
    switch (encoding) {
    case TransferEncoding::Base64:
        return decodeBase64(octets, isText);
    case TransferEncoding::QuotedPrintable:
        return decodeQuotedPrintable(octets);
    case TransferEncoding::Uuencode:
        if (auto file = findUuencodedFile(octets, 0))
            return file->octets;
        break;
    case TransferEncoding::None:
        break;
    }
    return octets.toByteArray();
}
