#include "mime/CharsetDecoder.h"

#include "mime/Utf8Check.h"
#include <QByteArray>
#include <QHash>
#include <algorithm>
#include <cerrno>
#include <glib.h>
#include <limits>
#include <optional>

namespace
{
constexpr auto gb18030 = "gb18030";
constexpr auto windows1252 = "windows-1252";
constexpr auto utf8 = "utf-8";
constexpr auto hz = "hz";

#if Q_BYTE_ORDER == Q_LITTLE_ENDIAN
constexpr auto nativeUtf16 = "UTF-16LE";
#else
constexpr auto nativeUtf16 = "UTF-16BE";
#endif

struct Decoded {
    QString text;
    qsizetype errors = 0; // octets that became U+FFFD
};

constexpr qsizetype undecodable = std::numeric_limits<qsizetype>::max();

bool hasHighOctet(QByteArrayView octets)
{
    return std::any_of(octets.begin(), octets.end(), [](char c) { return static_cast<signed char>(c) < 0; });
}

/// The name that iconv knows for a label, extensions included.
QByteArray canonicalCharset(QByteArrayView label)
{
    QByteArray name = label.toByteArray().toLower();
    for (const char mark : {'"', '\'', ' ', '\t', ';'})
        name.replace(mark, QByteArray());
    const bool isName = std::all_of(name.cbegin(), name.cend(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '_' || c == '.' ||
               c == ':' || c == '+';
    });
    if (!isName)
        return {}; // slashes mean something to iconv
    struct Alias {
        const char *canonical;
        std::initializer_list<const char *> names;
    };
    // Code pages instead of the pure standards: mail programs use the characters they add.
    static const Alias aliases[] = {
        {gb18030, {"gb2312",          "gb_2312-80", "gb2312-80", "gb_2312", "gb2312_charset", "csgb2312",
                   "csiso58gb231280", "iso-ir-58",  "gbk",       "gb",      "gb18030",        "gb-18030",
                   "gb18030-2000",    "cp936",      "ms936",     "936",     "windows-936",    "x-gbk",
                   "x-gb2312",        "x-cp20936",  "euc-cn",    "euccn",   "x-euc-cn",       "cn-gb",
                   "chinese",         "zh_cn",      "zh-cn"}},
        {"cp950",
         {"big5", "big-5", "cn-big5", "x-x-big5", "x-big5", "csbig5", "cp950", "ms950", "windows-950"}},
        {"big5-hkscs", {"big5-hkscs", "big5hkscs", "hkscs"}},
        {"cp932",
         {"shift_jis", "shift-jis", "sjis", "x-sjis", "ms_kanji", "csshiftjis", "windows-31j", "cp932"}},
        {"cp949",
         {"euc-kr", "euckr", "ks_c_5601-1987", "ks_c_5601", "ksc5601", "korean", "cp949", "windows-949"}},
        {"iso-2022-jp-2", {"iso-2022-jp", "csiso2022jp"}},
        {windows1252,
         {"iso-8859-1", "iso8859-1", "latin1", "latin-1", "l1", "cp1252", "windows-1252", "us-ascii", "ascii",
          "ansi_x3.4-1968"}},
        {utf8, {"utf-8", "utf8", "unicode-1-1-utf-8", "x-utf-8", "utf-8mb4", "utf8mb4"}},
        {hz, {"hz", "hz-gb-2312", "hz-gb2312"}},
        {"utf-7", {"utf-7", "utf7", "unicode-1-1-utf-7", "x-unicode-2-0-utf-7"}},
    };
    for (const Alias &alias : aliases) {
        if (std::find(alias.names.begin(), alias.names.end(), name) != alias.names.end())
            return alias.canonical;
    }
    return name;
}

/// Open converters to UTF-16 by charset. Closing the last one of a charset unloads its tables, and loading
/// them costs more than a usual message.
class Converters
{
public:
    Converters() = default;
    ~Converters() { closeAll(); }
    Converters(const Converters &) = delete;
    Converters &operator=(const Converters &) = delete;

    /// In its initial state; nothing for a charset that iconv does not know.
    std::optional<GIConv> from(const QByteArray &charset)
    {
        if (const auto known = m_open.constFind(charset); known != m_open.cend()) {
            g_iconv(*known, nullptr, nullptr, nullptr, nullptr);
            return *known;
        }
        const GIConv converter = g_iconv_open(nativeUtf16, charset.constData());
        if (converter == reinterpret_cast<GIConv>(-1)) // NOLINT(performance-no-int-to-ptr) its error value
            return std::nullopt;
        if (m_open.size() >= maximumOpen)
            closeAll();
        m_open.insert(charset, converter);
        return converter;
    }

private:
    static constexpr qsizetype maximumOpen = 32;

    void closeAll()
    {
        for (const GIConv converter : std::as_const(m_open))
            g_iconv_close(converter);
        m_open.clear();
    }

    QHash<QByteArray, GIConv> m_open;
};

Decoded decodeIconv(QByteArrayView octets, const QByteArray &charset)
{
    static Converters converters;
    const auto open = converters.from(charset);
    if (!open)
        return {{}, undecodable};
    const GIConv converter = *open;
    Decoded result;
    // No charset needs more UTF-16 units than octets, but for a few single marks; the loop grows then.
    QString &text = result.text;
    text.resize(octets.size() + 16);
    qsizetype units = 0;
    auto *in = const_cast<gchar *>(octets.data()); // iconv's signature; it does not write there
    auto inLeft = static_cast<gsize>(octets.size());
    while (inLeft > 0) {
        auto *out = reinterpret_cast<gchar *>(text.data() + units);
        auto outLeft = static_cast<gsize>(text.size() - units) * sizeof(QChar);
        const gsize room = outLeft;
        const gsize code = g_iconv(converter, &in, &inLeft, &out, &outLeft);
        const int error = errno;
        units += static_cast<qsizetype>((room - outLeft) / sizeof(QChar));
        if (code != static_cast<gsize>(-1))
            break;
        if (text.size() - units < 16)
            text.resize(text.size() * 2 + 16);
        if (error == E2BIG)
            continue;
        text[units++] = QChar::ReplacementCharacter;
        ++result.errors;
        ++in;
        --inLeft;
    }
    // What a stateful charset still holds back.
    auto *out = reinterpret_cast<gchar *>(text.data() + units);
    auto outLeft = static_cast<gsize>(text.size() - units) * sizeof(QChar);
    const gsize room = outLeft;
    if (g_iconv(converter, nullptr, nullptr, &out, &outLeft) != static_cast<gsize>(-1))
        units += static_cast<qsizetype>((room - outLeft) / sizeof(QChar));
    text.truncate(units);
    return result;
}

/// HZ (RFC 1843): GB2312 in seven bits between "~{" and "~}".
Decoded decodeHz(QByteArrayView octets)
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

/// GBK that was labelled as Western: every run of high octets is made of GB2312 level 1 and 2 pairs or marks.
bool isPairedGb2312(QByteArrayView octets)
{
    int pairs = 0;
    for (qsizetype i = 0; i < octets.size(); ++i) {
        const auto lead = static_cast<unsigned char>(octets[i]);
        if (lead < 0x80)
            continue;
        const auto trail = i + 1 < octets.size() ? static_cast<unsigned char>(octets[i + 1]) : 0;
        const bool known = (lead >= 0xB0 && lead <= 0xF7) || (lead >= 0xA1 && lead <= 0xA3);
        if (!known || trail < 0xA1 || trail == 0xFF)
            return false;
        ++pairs;
        ++i;
    }
    return pairs >= 2;
}

QString decodeUtf8(QByteArrayView octets)
{
    return QString::fromUtf8(octets); // replaces what is damaged
}

QString decodeUnlabelled(QByteArrayView octets, const Utf8Check &check)
{
    return check.isUtf8OrDamagedUtf8() ? decodeUtf8(octets) : decodeIconv(octets, gb18030).text;
}

QString decodeLabelled(QByteArrayView octets, const QByteArray &charset)
{
    const Utf8Check check = checkUtf8(octets);
    if (check.valid() && check.longSequences > 0 && check.shortSequences == 0)
        return decodeUtf8(octets);
    if (charset.isEmpty() || charset == utf8)
        return decodeUnlabelled(octets, check);
    if (charset == hz)
        return decodeHz(octets).text;
    if (charset == windows1252 && isPairedGb2312(octets))
        return decodeIconv(octets, gb18030).text;

    Decoded decoded = decodeIconv(octets, charset);
    if (decoded.errors == undecodable)
        return decodeUnlabelled(octets, check);
    // A few octets without meaning in windows-1252 are no reason to believe in Chinese.
    if (decoded.errors == 0 || charset == gb18030 || charset == windows1252 || !hasHighOctet(octets))
        return decoded.text;
    if (check.isUtf8OrDamagedUtf8())
        return decodeUtf8(octets);
    Decoded chinese = decodeIconv(octets, gb18030);
    return chinese.errors < decoded.errors ? chinese.text : decoded.text;
}
} // namespace

QString decodeText(QByteArrayView octets, QByteArrayView label)
{
    if (octets.isEmpty())
        return {};
    QString text;
    const QByteArray charset = canonicalCharset(label);
    const bool plain = charset.isEmpty() || charset == utf8 || charset == windows1252 || charset == gb18030;
    if (plain && !hasHighOctet(octets))
        text = QString::fromLatin1(octets);
    else
        text = decodeLabelled(octets, charset);
    text.replace(QChar(u'\0'), QChar::ReplacementCharacter);
    return text;
}
