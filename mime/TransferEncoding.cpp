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

bool isBase64Digit(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '/';
}

enum class Base64Line { Digits, LastDigits, Foreign };

/// A stray octet now and then leaves a line what it is.
Base64Line kindOf(QByteArrayView line, bool areBlanksForeign)
{
    qsizetype foreign = 0;
    qsizetype padding = 0;
    for (const char c : line) {
        padding += c == '=' ? 1 : 0;
        foreign += c != '=' && !isBase64Digit(c) && (c != ' ' || areBlanksForeign) ? 1 : 0;
    }
    const qsizetype inside = line.contains(' ') ? line.size() / 40 : std::max<qsizetype>(1, line.size() / 16);
    if (foreign > inside)
        return Base64Line::Foreign;
    return padding > 0 ? Base64Line::LastDigits : Base64Line::Digits;
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
        const Base64Line kind = kindOf(line, areBlanksForeign);
        const bool begins = !padded || line.size() % 4 == 0;
        const bool isForeign = !line.isEmpty() && (kind == Base64Line::Foreign || !begins);
        if (isForeign && isText)
            break;
        areBlanksForeign = areBlanksForeign || isForeign;
        at += whole.size();
        if (line.isEmpty() || isForeign)
            continue;
        if (padded) {
            decoder = Decoder(GMIME_CONTENT_ENCODING_BASE64);
            padded = false;
        }
        decoder.decode(line, decoded);
        padded = kind == Base64Line::LastDigits;
        digits +=
            std::count_if(line.begin(), line.end(), [](char c) { return c == '=' || isBase64Digit(c); });
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
        while (line.endsWith(' ') || line.endsWith('\t')) // added on the way: RFC 2045, 6.7
            line.chop(1);
        decoder.decode(line, decoded);
        decoder.decode(lineEnd, decoded);
        at += whole.size();
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
