#include "mime/ContentField.h"

#include "mime/CharsetDecoder.h"
#include "mime/HeaderDecoder.h"
#include "mime/MessageLimits.h"

#include <algorithm>

namespace
{

bool isBlank(char c)
{
    return c == ' ' || c == '\t';
}

bool isTokenCharacter(char c)
{
    return c > 0x20 && c < 0x7F && !QByteArrayView("()<>@,;:\\\"[]?=").contains(c);
}

/// Up to an equals sign or semicolon, where at is then.
QByteArray takeName(const QByteArray &text, qsizetype &at)
{
    const qsizetype start = at;
    while (at < text.size() && text[at] != '=' && text[at] != ';')
        ++at;
    return text.sliced(start, at - start).trimmed().toLower();
}

/// What follows an opening quote at at, which moves behind the closing one. After a backslash only a quote and
/// a backslash are meant literally: names come with paths in them.
QByteArray quotedText(const QByteArray &text, qsizetype &at, qsizetype lastQuote)
{
    QByteArray value;
    while (at < text.size()) {
        const char c = text[at++];
        if (c == '\\' && at < text.size() && (text[at] == '\\' || (text[at] == '"' && at < lastQuote)))
            value += text[at++];
        else if (c == '"')
            break;
        else
            value += c;
    }
    return value;
}

/// RFC 2231, 4: charset'language'text. Takes both off the text and gives the charset.
QByteArray takeCharset(QByteArray &text)
{
    const qsizetype language = text.indexOf('\'');
    const qsizetype start = language < 0 ? -1 : text.indexOf('\'', language + 1);
    if (start < 0)
        return {};
    const QByteArray charset = text.first(language);
    text.remove(0, start + 1);
    return charset;
}

} // namespace

ContentField::ContentField(QByteArrayView raw, QByteArrayView rawCharset)
{
    const QByteArray text = normaliseHeader(raw, rawCharset);
    const auto *const start = std::find_if_not(text.cbegin(), text.cend(), isBlank);
    const auto *const end = std::find_if_not(start, text.cend(), isTokenCharacter);
    if (end == text.cend() || *end != '=') // else it is missing
        m_value = QByteArray(start, end - start);
    readParameters(text, start - text.cbegin() + m_value.size());
}

void ContentField::readParameters(const QByteArray &text, qsizetype at)
{
    const qsizetype lastQuote = text.lastIndexOf('"');
    const auto endOf = [&](char mark) {
        const qsizetype found = text.indexOf(mark, at);
        return found < 0 ? text.size() : found;
    };
    while (at < text.size() && m_pieces.size() < MessageLimits::parameters) {
        if (text[at] == ';' || isBlank(text[at])) {
            ++at;
            continue;
        }
        const QByteArray name = takeName(text, at);
        if (at >= text.size() || text[at] == ';')
            continue;
        for (++at; at < text.size() && isBlank(text[at]);)
            ++at;
        QByteArray value;
        if (at < text.size() && text[at] == '"')
            value = quotedText(text, ++at, lastQuote);
        else {
            value = text.sliced(at, endOf(';') - at).trimmed();
            if (const qsizetype comment = value.indexOf(" ("); comment > 0 && !name.contains("name"))
                value.truncate(comment);
        }
        at = endOf(';');
        m_pieces.append({name, value});
    }
}

bool ContentField::isMediaType() const
{
    const qsizetype slash = m_value.indexOf('/');
    return slash > 0 && slash + 1 < m_value.size();
}

const QByteArray *ContentField::pieceNamed(const QByteArray &name) const
{
    const auto found = std::find_if(m_pieces.cbegin(), m_pieces.cend(),
                                    [&](const Piece &piece) { return piece.name == name; });
    return found == m_pieces.cend() ? nullptr : &found->value;
}

QString ContentField::parameter(QByteArrayView name) const
{
    const QByteArray plain = name.toByteArray();
    QByteArray octets;
    QByteArray charset;
    bool extended = false;
    const auto take = [&](const QByteArray &pieceName, bool first) {
        if (const QByteArray *encoded = pieceNamed(pieceName + '*')) {
            QByteArray text = *encoded;
            if (first)
                charset = takeCharset(text);
            octets += QByteArray::fromPercentEncoding(text);
            extended = true;
            return true;
        }
        const QByteArray *literal = pieceNamed(pieceName);
        octets += literal ? *literal : QByteArray();
        return literal != nullptr;
    };
    int number = 0;
    while (take(plain + '*' + QByteArray::number(number), number == 0))
        ++number;
    if (number == 0)
        take(plain, true);
    return extended ? decodeText(octets, charset) : decodeHeaderText(octets);
}
