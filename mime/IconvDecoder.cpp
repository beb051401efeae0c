#include "mime/IconvDecoder.h"

#include <QHash>
#include <cerrno>
#include <glib.h>
#include <optional>

namespace
{

#if Q_BYTE_ORDER == Q_LITTLE_ENDIAN
constexpr auto nativeUtf16 = "UTF-16LE";
#else
constexpr auto nativeUtf16 = "UTF-16BE";
#endif

/// Open converters to UTF-16 by charset, as many as there are charsets that are let through. Closing the last
/// one of a charset unloads its tables, and loading them costs more than a usual message.
class Converters
{
public:
    Converters() = default;
    ~Converters()
    {
        for (const GIConv converter : std::as_const(m_open))
            g_iconv_close(converter);
    }
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
        m_open.insert(charset, converter);
        return converter;
    }

private:
    QHash<QByteArray, GIConv> m_open;
};

} // namespace

DecodedText decodeIconv(QByteArrayView octets, const QByteArray &charset)
{
    static Converters converters;
    const auto open = converters.from(charset);
    if (!open)
        return {{}, DecodedText::undecodable};
    const GIConv converter = *open;
    DecodedText result;
    // No charset needs more UTF-16 units than octets, but for a few single marks; the loop grows then.
    QString &text = result.text;
    text.resize(octets.size() + 16);
    qsizetype units = 0;
    auto *in = const_cast<gchar *>(octets.data()); // iconv's signature; it does not write there
    auto inLeft = static_cast<gsize>(octets.size());
    const auto convert = [&](gchar **from, gsize *left) {
        auto *out = reinterpret_cast<gchar *>(text.data() + units);
        auto outLeft = static_cast<gsize>(text.size() - units) * sizeof(QChar);
        const gsize room = outLeft;
        const bool isWell = g_iconv(converter, from, left, &out, &outLeft) != static_cast<gsize>(-1);
        const int error = errno;
        units += static_cast<qsizetype>((room - outLeft) / sizeof(QChar));
        return isWell ? 0 : error;
    };
    while (inLeft > 0) {
        const int error = convert(&in, &inLeft);
        if (error == 0)
            break;
        if (text.size() - units < 16)
            text.resize(text.size() * 2 + 16);
        if (error == E2BIG)
            continue;
        if (inLeft == 0) // an error of what a converter held back
            break;
        text[units++] = QChar::ReplacementCharacter;
        ++result.errors;
        ++in;
        --inLeft;
    }
    convert(nullptr, nullptr); // what a stateful charset still holds back
    text.truncate(units);
    return result;
}
