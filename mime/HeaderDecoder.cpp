#include "mime/HeaderDecoder.h"

#include "mime/CharsetDecoder.h"

#include <QList>
#include <algorithm>
#include <optional>

namespace
{

/// A run of encoded words, or the text between such runs.
struct Segment {
    QString text;
    bool encoded = false;
};

struct EncodedWord {
    QByteArray charset;
    QByteArray octets;
    qsizetype length = 0; // of the whole word in the header
};

QByteArray unfold(QByteArrayView raw)
{
    QByteArray line = raw.toByteArray();
    line.replace("\n\t", "\n ").replace('\0', ' ');
    line.removeIf([](char c) { return c == '\r' || c == '\n'; });
    if (line.startsWith(' ') || line.startsWith('\t'))
        line.remove(0, 1);
    return line;
}

/// The encoded word at the front of line (RFC 2047, 2), more forgiving than that: blanks inside are allowed.
std::optional<EncodedWord> encodedWordAt(QByteArrayView line)
{
    constexpr qsizetype longestCharset = 64; // so that "=?" without an end costs no search through the line
    if (!line.startsWith("=?"))
        return std::nullopt;
    const qsizetype charsetEnd = line.first(qMin(line.size(), longestCharset)).indexOf('?', 2);
    if (charsetEnd <= 2 || charsetEnd + 3 >= line.size() || line[charsetEnd + 2] != '?')
        return std::nullopt;
    const char encoding = line[charsetEnd + 1];
    if (!QByteArrayView("BbQq").contains(encoding))
        return std::nullopt;
    const qsizetype start = charsetEnd + 3;
    const qsizetype end = line.indexOf("?=", start);
    if (end < 0)
        return std::nullopt;
    EncodedWord word;
    word.charset = line.sliced(2, charsetEnd - 2).toByteArray().split('*').first(); // RFC 2231, 5
    word.length = end + 2;
    QByteArray text = line.sliced(start, end - start).toByteArray();
    if ((encoding == 'B' || encoding == 'b') && text.contains('"'))
        return std::nullopt; // it goes on in the next piece of a parameter
    if (encoding == 'B' || encoding == 'b')
        word.octets = QByteArray::fromBase64(text);
    else // of percent encoding with another sign
        word.octets = QByteArray::fromPercentEncoding(text.replace('_', ' '), '=');
    return word;
}

QString rawText(QByteArrayView octets, QByteArrayView charset)
{
    const bool isAscii = std::none_of(octets.begin(), octets.end(),
                                      [](char c) { return c == '\x1b' || static_cast<signed char>(c) < 0; });
    return decodeText(octets, isAscii ? QByteArrayView() : charset);
}

QList<Segment> segmentsOf(const QByteArray &line, QByteArrayView rawCharset)
{
    QList<Segment> segments;
    QByteArray charset; // of the run of words that is open
    QByteArray octets;
    qsizetype textStart = 0;
    bool wordBefore = false; // a run is open or was just ended by a change of charset
    qsizetype nextEnd = 0;   // of the nearest "?=" after at; looked for once, so that many "=?" stay cheap
    const auto closeRun = [&] {
        if (!charset.isEmpty())
            segments.append({decodeText(octets, charset), true});
        charset.clear();
        octets.clear();
    };
    qsizetype at = line.indexOf("=?");
    while (at >= 0) {
        if (nextEnd < at + 2)
            nextEnd = line.indexOf("?=", at + 2);
        if (nextEnd < 0)
            break;
        const std::optional<EncodedWord> word = encodedWordAt(QByteArrayView(line).sliced(at));
        if (!word) {
            at = line.indexOf("=?", at + 2);
            continue;
        }
        const QByteArrayView between = QByteArrayView(line).sliced(textStart, at - textStart);
        const bool adjacent = wordBefore && between.trimmed().isEmpty();
        if (!adjacent || word->charset.compare(charset, Qt::CaseInsensitive) != 0)
            closeRun();
        if (!adjacent && !between.isEmpty())
            segments.append({rawText(between, rawCharset), false});
        charset = word->charset;
        octets += word->octets;
        wordBefore = true;
        textStart = at + word->length;
        at = line.indexOf("=?", textStart);
    }
    closeRun();
    if (textStart < line.size())
        segments.append({rawText(QByteArrayView(line).sliced(textStart), rawCharset), false});
    return segments;
}

} // namespace

QString decodeHeaderText(QByteArrayView raw, QByteArrayView rawCharset)
{
    QString text;
    for (const Segment &segment : segmentsOf(unfold(raw), rawCharset))
        text += segment.text;
    for (QChar &c : text) {
        if (c.unicode() < 0x20 || c.unicode() == 0x7F)
            c = u' ';
    }
    return text;
}

QByteArray normaliseHeader(QByteArrayView raw, QByteArrayView rawCharset)
{
    QByteArray normal;
    bool afterWord = false;
    for (const Segment &segment : segmentsOf(unfold(raw), rawCharset)) {
        const QByteArray octets = segment.text.toUtf8();
        if (segment.encoded) {
            normal += (afterWord ? " =?utf-8?B?" : "=?utf-8?B?") + octets.toBase64() + "?=";
        } else {
            if (afterWord && octets.startsWith('<'))
                normal += ' ';
            normal += octets;
        }
        afterWord = segment.encoded;
    }
    return normal;
}
