#include "modem/tpdu/GsmAlphabet.h"

#include "modem/tpdu/GsmTables.h"

#include <QHash>

namespace
{

/// Character to its septet, with extensionBit set when ESC goes before it.
constexpr int extensionBit = 0x80;

QHash<char16_t, int> reverseTable()
{
    QHash<char16_t, int> table;
    const GsmTables::Table &main = GsmTables::locking(0);
    const GsmTables::Table &extension = GsmTables::extension(0);
    for (int septet = 0; septet < static_cast<int>(main.size()); ++septet) {
        if (const char16_t extended = extension.at(septet); extended != 0)
            table.insert(extended, septet | extensionBit);
        if (septet != GsmAlphabet::escape)
            table.insert(main.at(septet), septet);
    }
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

QString GsmAlphabet::decode(QByteArrayView septets, const NationalTables &tables)
{
    const GsmTables::Table &main = GsmTables::locking(tables.lockingShift);
    const GsmTables::Table &extension = GsmTables::extension(tables.singleShift);
    QString text;
    text.reserve(septets.size());
    for (qsizetype i = 0; i < septets.size(); ++i) {
        int septet = septets[i] & 0x7f;
        if (septet != escape) {
            text.append(QChar(main.at(septet)));
            continue;
        }
        if (++i == septets.size())
            break; // the text ends in an escape: there is nothing to show
        septet = septets[i] & 0x7f;
        if (septet == escape)
            text.append(u' ');
        else
            text.append(QChar(extension.at(septet) != 0 ? extension.at(septet) : main.at(septet)));
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
