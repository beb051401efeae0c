#include "simulator/tpdu/GsmAlphabet.h"

#include <QHash>
#include <array>

using namespace Qt::StringLiterals;

namespace simulator
{
namespace
{
constexpr char escape = 0x1b;

// Rows of sixteen, as the standard's table read column by column. The place of ESC holds a no-break space,
// which no text maps to (see codes()).
constexpr std::u16string_view defaultTable = u"@£$¥èéùìòÇ\nØø\rÅå"
                                             u"Δ_ΦΓΛΩΠΨΣΘΞ\u00a0ÆæßÉ"
                                             u" !\"#¤%&'()*+,-./"
                                             u"0123456789:;<=>?"
                                             u"¡ABCDEFGHIJKLMNO"
                                             u"PQRSTUVWXYZÄÖÑÜ§"
                                             u"¿abcdefghijklmno"
                                             u"pqrstuvwxyzäöñüà";
static_assert(defaultTable.size() == 128);

struct Extension {
    char code;
    char16_t character;
};
constexpr std::array<Extension, 10> extensionTable{{{0x0a, u'\f'},
                                                    {0x14, u'^'},
                                                    {0x28, u'{'},
                                                    {0x29, u'}'},
                                                    {0x2f, u'\\'},
                                                    {0x3c, u'['},
                                                    {0x3d, u'~'},
                                                    {0x3e, u']'},
                                                    {0x40, u'|'},
                                                    {0x65, u'€'}}};

const QHash<char16_t, QByteArray> &codes()
{
    static const QHash<char16_t, QByteArray> table = [] {
        QHash<char16_t, QByteArray> result;
        for (size_t code = 0; code < defaultTable.size(); ++code) {
            if (code != escape)
                result.insert(defaultTable[code], QByteArray(1, static_cast<char>(code)));
        }
        for (const Extension &extension : extensionTable)
            result.insert(extension.character, QByteArray(1, escape) + extension.code);
        return result;
    }();
    return table;
}

char16_t extensionCharacter(char code)
{
    for (const Extension &extension : extensionTable) {
        if (extension.code == code)
            return extension.character;
    }
    return defaultTable[static_cast<unsigned char>(code)];
}
} // namespace

std::optional<QByteArray> septetsFromText(const QString &text)
{
    QByteArray septets;
    for (const QChar character : text) {
        const auto code = codes().constFind(character.unicode());
        if (code == codes().cend())
            return std::nullopt;
        septets += *code;
    }
    return septets;
}

QString textFromSeptets(const QByteArray &septets)
{
    QString text;
    for (qsizetype i = 0; i < septets.size(); ++i) {
        const auto code = static_cast<char>(septets[i] & 0x7f);
        if (code != escape)
            text += QChar(defaultTable[static_cast<unsigned char>(code)]);
        else if (i + 1 < septets.size() && septets[i + 1] != escape)
            text += QChar(extensionCharacter(static_cast<char>(septets[++i] & 0x7f)));
        else
            text += u' ';
    }
    return text;
}

QByteArray packSeptets(const QByteArray &septets, int fillBits)
{
    const qsizetype bits = fillBits + septets.size() * 7;
    QByteArray octets((bits + 7) / 8, '\0');
    qsizetype bit = fillBits;
    for (const char septet : septets) {
        const unsigned shifted = (static_cast<unsigned>(septet) & 0x7fU) << (bit % 8);
        const qsizetype at = bit / 8;
        octets[at] = static_cast<char>(static_cast<unsigned char>(octets[at]) | (shifted & 0xffU));
        if (shifted > 0xff)
            octets[at + 1] = static_cast<char>(shifted >> 8);
        bit += 7;
    }
    return octets;
}

std::optional<QByteArray> unpackSeptets(const QByteArray &octets, int count, int fillBits)
{
    if (fillBits + qsizetype(count) * 7 > octets.size() * 8)
        return std::nullopt;
    QByteArray septets;
    septets.reserve(count);
    qsizetype bit = fillBits;
    for (int i = 0; i < count; ++i, bit += 7) {
        const qsizetype at = bit / 8;
        unsigned window = static_cast<unsigned char>(octets[at]);
        if (at + 1 < octets.size())
            window |= static_cast<unsigned>(static_cast<unsigned char>(octets[at + 1])) << 8;
        septets += static_cast<char>((window >> (bit % 8)) & 0x7fU);
    }
    return septets;
}
} // namespace simulator
