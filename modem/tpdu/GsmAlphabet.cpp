#include "modem/tpdu/GsmAlphabet.h"

#include <QHash>
#include <string_view>
#include <utility>

namespace
{

/// A character for each septet.
constexpr std::u16string_view defaultAlphabet =
    u"@£$¥èéùìòÇ\nØø\rÅåΔ_ΦΓΛΩΠΨΣΘΞ\x1bÆæßÉ !\"#¤%&'()*+,-./0123456789:;<=>?"
    u"¡ABCDEFGHIJKLMNOPQRSTUVWXYZÄÖÑÜ§¿abcdefghijklmnopqrstuvwxyzäöñüà";
static_assert(defaultAlphabet.size() == 128);

/// What ESC plus a septet means; other places are undefined.
constexpr std::u16string_view extendedCharacters = u"\f^{}\\[~]|€";
constexpr std::u16string_view extendedSeptets = u"\x0a\x14\x28\x29\x2f\x3c\x3d\x3e\x40\x65";

/// Character to its septet, with extensionBit set when ESC goes before it.
constexpr int extensionBit = 0x80;

QHash<char16_t, int> reverseTable()
{
    QHash<char16_t, int> table;
    for (std::size_t i = 0; i < extendedCharacters.size(); ++i)
        table.insert(extendedCharacters[i], extendedSeptets[i] | extensionBit);
    for (std::size_t septet = 0; septet < defaultAlphabet.size(); ++septet)
        table.insert(defaultAlphabet[septet], static_cast<int>(septet));
    table.remove(GsmAlphabet::escape);
    return table;
}

} // namespace

std::optional<QByteArray> GsmAlphabet::encode(QStringView text)
{
    static const QHash<char16_t, int> table = reverseTable();
    QByteArray septets;
    septets.reserve(text.size());
    for (const QChar character : text) {
        const auto found = table.constFind(character.unicode());
        if (found == table.cend())
            return std::nullopt;
        if ((*found & extensionBit) != 0)
            septets.append(escape);
        septets.append(static_cast<char>(*found & ~extensionBit));
    }
    return septets;
}

QString GsmAlphabet::decode(QByteArrayView septets)
{
    QString text;
    text.reserve(septets.size());
    bool isEscaped = false; // a text that ends in an escape has nothing to show for it
    for (const char octet : septets) {
        const auto septet = static_cast<std::size_t>(octet & 0x7f);
        const bool wasEscaped = std::exchange(isEscaped, !isEscaped && septet == escape);
        if (isEscaped)
            continue;
        const std::size_t extended =
            wasEscaped ? extendedSeptets.find(static_cast<char16_t>(septet)) : std::u16string_view::npos;
        if (extended != std::u16string_view::npos)
            text.append(QChar(extendedCharacters[extended]));
        else
            text.append(septet == escape ? u' ' : QChar(defaultAlphabet[septet]));
    }
    return text;
}

QByteArray GsmAlphabet::pack(QByteArrayView septets, int fillBits)
{
    QByteArray octets;
    octets.reserve((septets.size() * 7 + fillBits + 7) / 8);
    unsigned bits = 0;
    int held = fillBits;
    for (const char septet : septets) {
        bits |= static_cast<unsigned>(septet & 0x7f) << held;
        held += 7;
        while (held >= 8) {
            octets.append(static_cast<char>(bits & 0xff));
            bits >>= 8;
            held -= 8;
        }
    }
    if (held > 0 && !septets.isEmpty())
        octets.append(static_cast<char>(bits & 0xff));
    return octets;
}

QByteArray GsmAlphabet::unpack(QByteArrayView octets, qsizetype count, int fillBits)
{
    QByteArray septets;
    septets.reserve(count);
    unsigned bits = 0;
    int held = -fillBits;
    for (const char octet : octets) {
        const unsigned value = static_cast<unsigned char>(octet);
        if (held < 0)
            bits = value >> fillBits;
        else
            bits |= value << held;
        held += 8;
        while (held >= 7 && septets.size() < count) {
            septets.append(static_cast<char>(bits & 0x7f));
            bits >>= 7;
            held -= 7;
        }
    }
    return septets;
}
