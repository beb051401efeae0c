#include "mime/CharsetDecoder.h"

#include <QByteArrayList>
#include <QStringDecoder>

#include <algorithm>
#include <array>
#include <optional>

namespace
{

constexpr auto gb18030 = "gb18030";
constexpr auto windows1252 = "windows-1252";
constexpr auto utf8 = "utf-8";
constexpr auto big5 = "big5";

bool isHigh(char c)
{
    return static_cast<signed char>(c) < 0;
}

/// The charset that is meant by a label of whatever spelling; code pages stand for the pure standards, since mail
/// programs use the characters that they add. Empty for one that is not known.
QByteArray charsetOf(QByteArrayView label)
{
    constexpr qsizetype longestLabel = 64;
    struct Family {
        const char *charset;
        const char *parts; // of its labels
    };
    static constexpr auto families = std::to_array<Family>({
        {"hz", "hz"},
        {"iso-2022-jp-2", "2022-jp cp5022"},
        {gb18030, "gb 936 euc-cn euccn chinese zh-cn zh_cn"},
        {big5, "big 950 hkscs zh-tw zh_tw"},
        {utf8, "utf-8 utf8"},
        {"windows-949", "ks_c ksc 949 euc-kr euckr korean uhc"},
    });
    QByteArray name = label.first(qMin(label.size(), longestLabel)).toByteArray().toLower();
    name.removeIf([](char c) { return c <= ' ' || QByteArrayView("\"',;").contains(c); });
    for (const Family &family : families) {
        for (const QByteArray &part : QByteArray(family.parts).split(' ')) {
            if (name.contains(part))
                return family.charset;
        }
    }
    const QStringDecoder decoder(name.constData());
    const QByteArray known(decoder.isValid() ? decoder.name() : nullptr);
    if (known == "ISO-8859-1" || known == "US-ASCII")
        return windows1252;
    return decoder.isValid() ? name : QByteArray();
}

struct Decoded {
    QString text;
    qsizetype errors = 0; // characters that are no text
};

/// Nothing for a charset that Qt does not know.
std::optional<Decoded> decodeAs(QByteArrayView octets, const QByteArray &charset)
{
    QStringDecoder decoder(charset.constData());
    if (!decoder.isValid())
        return std::nullopt;
    Decoded result{decoder.decode(octets)};
    const QString rest = decoder.decode("\n"); // and a character before it that was cut off
    result.text += QStringView(rest).chopped(rest.endsWith(u'\n') ? 1 : 0);
    for (QChar &c : result.text) {
        if (c == QChar(0x1A) || c == QChar(0xF8F8)) // which some converters give for octets without a meaning
            c = QChar::ReplacementCharacter;
        const bool isControl = c.unicode() >= 0x7F && c.unicode() < 0xA0;
        result.errors +=
            isControl || c == QChar::ReplacementCharacter || c.category() == QChar::Other_PrivateUse;
    }
    return result;
}

/// How much of some octets is well-formed UTF-8 (RFC 3629, 4).
struct Utf8Look {
    qsizetype shortSequences = 0; // characters of two octets
    qsizetype longSequences = 0;  // characters of three or four octets
    qsizetype strayOctets = 0;    // high octets that belong to no character

    [[nodiscard]] bool isValid() const { return strayOctets == 0; }
    /// Valid, or so much of it is that it must be UTF-8 with some octets lost: text in GBK or Big5 shows ten
    /// stray octets for every sequence.
    [[nodiscard]] bool isUtf8OrDamagedUtf8() const
    {
        return isValid() || shortSequences + 2 * longSequences > strayOctets;
    }
};

Utf8Look lookForUtf8(QByteArrayView octets)
{
    const qsizetype marks = octets.count("\xEF\xBF\xBD"); // U+FFFD that the text itself holds
    Utf8Look look{0, marks + (octets.startsWith("\xEF\xBB\xBF") ? 1 : 0), -marks};
    for (const QChar c : QString::fromUtf8(octets)) {
        const bool isStray = c == QChar::ReplacementCharacter;
        look.strayOctets += isStray;
        look.shortSequences += c.unicode() >= 0x80 && c.unicode() < 0x800;
        look.longSequences += c.unicode() >= 0x800 && !isStray && !c.isLowSurrogate();
    }
    return look;
}

/// How much octets under another label look like Chinese from the mainland.
struct Gb2312Look {
    qsizetype pairs = 0;
    qsizetype strange = 0; // neither GB2312 level 1 and 2 nor its marks

    /// GBK that was labelled as Western: every run of high octets is made of pairs.
    [[nodiscard]] bool isLabelledWestern() const { return pairs >= 2 && strange == 0; }
};

Gb2312Look lookAt(QByteArrayView octets)
{
    Gb2312Look look;
    for (qsizetype i = 0; i < octets.size(); ++i) {
        const auto lead = static_cast<unsigned char>(octets[i]);
        if (lead < 0x80)
            continue;
        const auto trail = i + 1 < octets.size() ? static_cast<unsigned char>(octets[i + 1]) : 0;
        const bool known = (lead >= 0xB0 && lead <= 0xF7) || (lead >= 0xA1 && lead <= 0xA3);
        ++look.pairs;
        look.strange += known && trail >= 0xA1 && trail != 0xFF ? 0 : 1;
        ++i;
    }
    return look;
}

QString decodeGbk(QByteArrayView octets)
{
    return decodeAs(octets, gb18030).value_or(Decoded()).text;
}

/// Strictly GB2312 and no UTF-8 beyond doubt.
bool isUnlabelledGbk(QByteArrayView octets)
{
    const Gb2312Look chinese = lookAt(octets);
    if (chinese.pairs == 0 || chinese.strange > 0)
        return false;
    const Utf8Look look = lookForUtf8(octets);
    if (!look.isValid())
        return true;
    const auto isOfAlphabets = [](char c) {
        return !isHigh(c) || QByteArrayView("\xC2\xC3\xCE\xCF\xD0\xD1").contains(c) ||
               static_cast<unsigned char>(c) < 0xC0;
    };
    return look.longSequences == 0 && chinese.pairs > 1 &&
           !std::all_of(octets.begin(), octets.end(), isOfAlphabets);
}

QString decodeUnlabelled(QByteArrayView octets, const Utf8Look &look)
{
    return look.isUtf8OrDamagedUtf8() ? QString::fromUtf8(octets) : decodeGbk(octets);
}

/// Whether valid UTF-8 is believed against a label. Two octets alone may be one character of GBK as well; in
/// Western text such pairs are marks of UTF-8 ("Â°").
bool isBeyondDoubt(QByteArrayView octets, const Utf8Look &look, const QByteArray &charset)
{
    if (!look.isValid())
        return false;
    const auto isWesternLead = [](char c) {
        const auto octet = static_cast<unsigned char>(c);
        return octet < 0xC0 || octet == 0xC2 || octet == 0xC3;
    };
    return look.longSequences > 0 || (charset == windows1252 && look.shortSequences > 0 &&
                                      std::all_of(octets.begin(), octets.end(), isWesternLead));
}

QString decodeLabelled(QByteArrayView octets, const QByteArray &charset)
{
    const Utf8Look look = lookForUtf8(octets);
    if (isBeyondDoubt(octets, look, charset))
        return QString::fromUtf8(octets);
    if (charset.isEmpty() && isUnlabelledGbk(octets))
        return decodeGbk(octets);
    if (charset.isEmpty() || charset == utf8)
        return decodeUnlabelled(octets, look);
    if (charset == windows1252 && lookAt(octets).isLabelledWestern())
        return decodeGbk(octets);

    std::optional<Decoded> decoded = decodeAs(octets, charset);
    if (!decoded)
        return decodeUnlabelled(octets, look);
    if (charset == big5 && decoded->errors > 0) {
        if (auto hongKong = decodeAs(octets, "big5-hkscs"); hongKong && hongKong->errors < decoded->errors)
            decoded = std::move(hongKong);
    }
    // A few octets without meaning are damage, not a wrong label.
    const qsizetype high = std::count_if(octets.begin(), octets.end(), isHigh);
    if (decoded->errors * 20 <= high || charset == windows1252 || high == 0)
        return decoded->text;
    if (look.isUtf8OrDamagedUtf8())
        return QString::fromUtf8(octets);
    const auto chinese = decodeAs(octets, gb18030);
    return chinese && chinese->errors < decoded->errors ? chinese->text : decoded->text;
}

} // namespace

QByteArray charsetOfHeader(QByteArrayView header, QByteArrayView textLabel)
{
    const QByteArray charset = charsetOf(textLabel);
    if (!charset.isEmpty() && charset != windows1252 && charset != gb18030 && !charset.startsWith("utf"))
        return charset;
    return isUnlabelledGbk(header) ? QByteArray(gb18030) : QByteArray();
}

QString decodeText(QByteArrayView octets, QByteArrayView label)
{
    if (octets.isEmpty())
        return {};
    QString text;
    const QByteArray charset = charsetOf(label);
    const bool plain = charset.isEmpty() || charset == utf8 || charset == windows1252 || charset == gb18030;
    if (plain && std::none_of(octets.begin(), octets.end(), isHigh))
        text = QString::fromLatin1(octets);
    else
        text = decodeLabelled(octets, charset);
    if (!text.isValidUtf16())
        text = QString::fromUtf8(text.toUtf8());
    text.replace(QChar(u'\0'), QChar::ReplacementCharacter);
    return text;
}
