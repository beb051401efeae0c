#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <optional>

/// The GSM 7-bit alphabets of 3GPP TS 23.038: default, extension, national language shift tables.
/// Septets are one in an octet, values 0 to 127, until they are packed.
namespace GsmAlphabet
{

/// National language identifiers (3GPP TS 23.038, 6.2.1.2.4) for tables that are not the default ones.
struct NationalTables {
    int lockingShift = 0; ///< 0 = default alphabet
    int singleShift = 0;  ///< 0 = default extension table
    bool operator==(const NationalTables &) const = default;
};

/// text in the default alphabet with its extension table (an extended character takes two septets, the first
/// is ESC); nullopt when a character is in neither.
[[nodiscard]] std::optional<QByteArray> encode(QStringView text);

/// Never fails: an escape to an undefined place shows the character of the main table, one to a further table
/// a blank, as 6.2.1.1 says. Unknown language identifiers mean the default tables.
[[nodiscard]] QString decode(QByteArrayView septets, const NationalTables &tables = {});

constexpr char escape = 0x1b;

/// Packs septets behind fillBits zero bits (6.1.2.1); fillBits 0 to 6.
[[nodiscard]] QByteArray pack(QByteArrayView septets, int fillBits = 0);

/// Up to count septets from octets, after fillBits bits; fewer when the octets hold fewer.
[[nodiscard]] QByteArray unpack(QByteArrayView octets, qsizetype count, int fillBits = 0);

} // namespace GsmAlphabet
