#include "mime/CharsetDecoder.h"

#include "mime/CharsetNames.h"
#include "mime/IconvDecoder.h"
#include "mime/Utf8Check.h"

#include <QByteArray>
#include <algorithm>
#include <array>

using namespace CharsetNames;

namespace
{

bool isHigh(char c)
{
    return static_cast<signed char>(c) < 0;
}

/// HZ (RFC 1843): GB2312 in seven bits between "~{" and "~}".
DecodedText decodeHz(QByteArrayView octets)
{
    QByteArray plain;
    plain.reserve(octets.size());
    bool chinese = false;
    for (qsizetype i = 0; i < octets.size(); ++i) {
        const char c = octets[i];
        const char next = i + 1 < octets.size() ? octets[i + 1] : '\0';
        if (c == '~' && (next == '{' || next == '}')) {
            chinese = next == '{';
            ++i;
        } else if (c == '~' && next == '~') {
            plain.append('~');
            ++i;
        } else if (c == '~' && next == '\n') {
            ++i; // a line that goes on
        } else if (chinese && c >= 0x21 && next >= 0x21) {
            plain.append(static_cast<char>(c | 0x80)).append(static_cast<char>(next | 0x80));
            ++i;
        } else {
            chinese = chinese && c != '\n'; // a line end ends the mode (RFC 1843, 3)
            plain.append(c);
        }
    }
    return decodeIconv(plain, gb18030);
}

/// How much octets under another label look like Chinese from the mainland.
struct Gb2312Look {
    qsizetype pairs = 0;
    qsizetype strange = 0;    // neither GB2312 level 1 and 2 nor its marks
    qsizetype rareInBig5 = 0; // with lead octets that hold rare characters there

    /// GBK that was labelled as Western: every run of high octets is made of pairs.
    [[nodiscard]] bool isLabelledWestern() const { return pairs >= 2 && strange == 0; }
    /// The same labelled as Chinese from Taiwan: nearly all is GB2312, and rare there.
    [[nodiscard]] bool isLabelledBig5() const
    {
        return pairs >= 2 && strange * 20 <= pairs && rareInBig5 * 5 >= pairs;
    }
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
        look.rareInBig5 += lead >= 0xC9 ? 1 : 0;
        ++i;
    }
    return look;
}

/// ISO-2022-JP as programs write it, with rows 13 and 89 to 92 of their code pages: turned into EUC, of which
/// there is a converter that knows them.
DecodedText decodeIso2022Jp(QByteArrayView octets)
{
    enum class Set { Ascii, Kana, Jis0208, Jis0212 };
    struct Escape {
        QByteArrayView octets;
        Set set;
    };
    static constexpr auto escapes = std::to_array<Escape>({{"\x1b(B", Set::Ascii},
                                                           {"\x1b(J", Set::Ascii},
                                                           {"\x1b(I", Set::Kana},
                                                           {"\x1b$@", Set::Jis0208},
                                                           {"\x1b$B", Set::Jis0208},
                                                           {"\x1b$(B", Set::Jis0208},
                                                           {"\x1b$(D", Set::Jis0212}});
    QByteArray euc;
    euc.reserve(octets.size());
    Set set = Set::Ascii;
    for (qsizetype i = 0; i < octets.size(); ++i) {
        const QByteArrayView rest = octets.sliced(i, qMin<qsizetype>(4, octets.size() - i));
        const auto *const escape =
            std::find_if(std::begin(escapes), std::end(escapes),
                         [&](const Escape &known) { return rest.startsWith(known.octets); });
        if (escape != std::end(escapes)) {
            set = escape->set;
            i += escape->octets.size() - 1;
            continue;
        }
        const char c = octets[i];
        if (c == '\n')
            set = Set::Ascii;
        const bool inSet = c > 0x20 && c < 0x7F;
        if (!inSet || set == Set::Ascii) {
            euc += c;
        } else if (set == Set::Kana) {
            euc.append('\x8E').append(static_cast<char>(c | 0x80));
        } else if (rest.size() > 1 && rest[1] > 0x20) {
            if (set == Set::Jis0212)
                euc += '\x8F';
            euc.append(static_cast<char>(c | 0x80)).append(static_cast<char>(rest[1] | 0x80));
            ++i;
        } else {
            euc += '\xFF';
        }
    }
    return decodeIconv(euc, "eucjp-ms");
}

DecodedText better(DecodedText first, DecodedText second)
{
    return second.errors < first.errors ? std::move(second) : std::move(first);
}

/// As the label says, or by a larger charset of the same kind where that one fails.
DecodedText decodeAsLabelled(QByteArrayView octets, const QByteArray &charset)
{
    if (charset == hz)
        return decodeHz(octets);
    const bool isBig5 = charset == big5;
    const bool isIso2022Jp = charset == iso2022Jp;
    DecodedText decoded = decodeIconv(octets, isBig5 ? "cp950" : isIso2022Jp ? "iso-2022-jp-2" : charset);
    if (decoded.errors == 0 || decoded.errors == DecodedText::undecodable)
        return decoded;
    if (isBig5)
        return better(std::move(decoded), decodeIconv(octets, "big5-hkscs"));
    if (charset == eucJp)
        return better(std::move(decoded), decodeIconv(octets, "eucjp-ms"));
    if (isIso2022Jp)
        return better(std::move(decoded), decodeIso2022Jp(octets));
    return decoded;
}

QString decodeUnlabelled(QByteArrayView octets, const Utf8Check &check)
{
    return check.isUtf8OrDamagedUtf8() ? QString::fromUtf8(octets) : decodeIconv(octets, gb18030).text;
}

/// Whether valid UTF-8 is believed against a label. Two octets alone may be one character of GBK as well; in
/// Western text such pairs are marks of UTF-8 ("Â°").
bool isBeyondDoubt(QByteArrayView octets, const Utf8Check &check, const QByteArray &charset)
{
    if (!check.valid())
        return false;
    const auto isWesternLead = [](char c) {
        const auto octet = static_cast<unsigned char>(c);
        return octet < 0xC0 || octet == 0xC2 || octet == 0xC3;
    };
    return check.longSequences > 0 || (charset == windows1252 && check.shortSequences > 0 &&
                                       std::all_of(octets.begin(), octets.end(), isWesternLead));
}

QString decodeLabelled(QByteArrayView octets, const QByteArray &charset)
{
    const Utf8Check check = checkUtf8(octets);
    if (isBeyondDoubt(octets, check, charset))
        return QString::fromUtf8(octets);
    if (charset.isEmpty() && isUnlabelledGbk(octets))
        return decodeIconv(octets, gb18030).text;
    if (charset.isEmpty() || charset == utf8)
        return decodeUnlabelled(octets, check);
    if ((charset == windows1252 && lookAt(octets).isLabelledWestern()) ||
        (charset == big5 && lookAt(octets).isLabelledBig5()))
        return decodeIconv(octets, gb18030).text;

    const DecodedText decoded = decodeAsLabelled(octets, charset);
    if (decoded.errors == DecodedText::undecodable)
        return decodeUnlabelled(octets, check);
    // A few octets without meaning are damage, not a wrong label.
    const qsizetype high = std::count_if(octets.begin(), octets.end(), isHigh);
    if (decoded.errors * 20 <= high || charset == windows1252 || high == 0)
        return decoded.text;
    if (check.isUtf8OrDamagedUtf8())
        return QString::fromUtf8(octets);
    const DecodedText chinese = decodeIconv(octets, gb18030);
    return chinese.errors < decoded.errors ? chinese.text : decoded.text;
}

} // namespace

bool isUnlabelledGbk(QByteArrayView octets)
{
    const Gb2312Look look = lookAt(octets);
    if (look.pairs == 0 || look.strange > 0)
        return false;
    const Utf8Check check = checkUtf8(octets);
    if (!check.valid())
        return true;
    const auto isOfAlphabets = [](char c) {
        return !isHigh(c) || QByteArrayView("\xC2\xC3\xCE\xCF\xD0\xD1").contains(c) ||
               static_cast<unsigned char>(c) < 0xC0;
    };
    return check.longSequences == 0 && look.pairs > 1 &&
           !std::all_of(octets.begin(), octets.end(), isOfAlphabets);
}

QString decodeText(QByteArrayView octets, QByteArrayView label)
{
    if (octets.isEmpty())
        return {};
    QString text;
    const QByteArray charset = canonicalCharset(label);
    const bool plain = charset.isEmpty() || charset == utf8 || charset == windows1252 || charset == gb18030;
    if (plain && std::none_of(octets.begin(), octets.end(), isHigh))
        text = QString::fromLatin1(octets);
    else
        text = decodeLabelled(octets, charset);
    text.replace(QChar(u'\0'), QChar::ReplacementCharacter);
    return text;
}
