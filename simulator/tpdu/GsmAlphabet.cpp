#include "simulator/tpdu/GsmAlphabet.h"

using namespace Qt::StringLiterals;

namespace simulator
{
namespace
{
constexpr char escape = 0x1b;

// Rows of sixteen, as the standard's table read column by column.
constexpr std::u16string_view defaultTable = u"@£$¥èéùìòÇ\nØø\rÅå"
                                             u"Δ_ΦΓΛΩΠΨΣΘΞ\u001bÆæßÉ"
                                             u" !\"#¤%&'()*+,-./"
                                             u"0123456789:;<=>?"
                                             u"¡ABCDEFGHIJKLMNO"
                                             u"PQRSTUVWXYZÄÖÑÜ§"
                                             u"¿abcdefghijklmno"
                                             u"pqrstuvwxyzäöñüà";
static_assert(defaultTable.size() == 128);

/// The characters of the extension table and, in the same order, their codes.
constexpr std::u16string_view extensions = u"\f^{}\\[~]|€";
constexpr std::string_view extensionCodes = "\x0a\x14\x28\x29\x2f\x3c\x3d\x3e\x40\x65";
static_assert(extensions.size() == extensionCodes.size());
} // namespace

std::optional<QByteArray> septetsFromText(const QString &text)
{
    QByteArray septets;
    for (const QChar character : text) {
        const size_t code = defaultTable.find(character.unicode());
        const size_t extension = extensions.find(character.unicode());
        if (extension != extensions.npos)
            septets += QByteArray(1, escape) + extensionCodes[extension];
        else if (code != defaultTable.npos && character != QLatin1Char(escape))
            septets += static_cast<char>(code);
        else
            return std::nullopt;
    }
    return septets;
}

QString textFromSeptets(const QByteArray &septets)
{
    QString text;
    for (qsizetype i = 0; i < septets.size(); ++i) {
        const bool isEscaped = septets[i] == escape;
        if (isEscaped && (i + 1 == septets.size() || septets[i + 1] == escape)) {
            text += u' ';
            continue;
        }
        const char code = septets[isEscaped ? ++i : i];
        const size_t extension = isEscaped ? extensionCodes.find(code) : extensionCodes.npos;
        text += extension == extensionCodes.npos ? QChar(defaultTable[static_cast<size_t>(code & 0x7f)])
                                                 : QChar(extensions[extension]);
    }
    return text;
}

QByteArray packSeptets(const QByteArray &septets, int fillBits)
{
    const qsizetype bits = septets.size() * 7;
    QByteArray octets((fillBits + bits + 7) / 8, '\0');
    for (qsizetype bit = 0; bit < bits; ++bit) {
        char &octet = octets[(fillBits + bit) / 8];
        octet = static_cast<char>(octet | ((septets[bit / 7] >> bit % 7) & 1) << (fillBits + bit) % 8);
    }
    return octets;
}

QByteArray unpackSeptets(const QByteArray &octets, qsizetype count, int fillBits)
{
    const qsizetype bits = qBound<qsizetype>(0, count * 7, (octets.size() * 8 - fillBits) / 7 * 7);
    QByteArray septets(bits / 7, '\0');
    for (qsizetype bit = 0; bit < bits; ++bit) {
        char &septet = septets[bit / 7];
        septet = static_cast<char>(septet | ((octets[(fillBits + bit) / 8] >> (fillBits + bit) % 8) & 1)
                                                << bit % 7);
    }
    return septets;
}
} // namespace simulator
