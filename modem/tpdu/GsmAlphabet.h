#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <optional>

/// The GSM 7-bit default alphabet with its extension table (3GPP TS 23.038, 6.2.1). National language shift tables are
/// not known here, and text in them is read by the default ones as 6.2.1.2.4 foresees.
/// Septets are one in an octet, values 0 to 127, until they are packed.
namespace GsmAlphabet
{

/// text in the default alphabet with its extension table (an extended character takes two septets, the first
/// is ESC); nullopt when a character is in neither.
[[nodiscard]] std::optional<QByteArray> encode(QStringView text);

/// Never fails: an escape to an undefined place shows the character of the default alphabet, one to a further table
/// a blank, as 6.2.1.1 says.
[[nodiscard]] QString decode(QByteArrayView septets);

constexpr char escape = 0x1b;

/// Packs septets behind fillBits zero bits (6.1.2.1); fillBits 0 to 6.
[[nodiscard]] QByteArray pack(QByteArrayView septets, int fillBits = 0);

/// Up to count septets from octets, after fillBits bits; fewer when the octets hold fewer.
[[nodiscard]] QByteArray unpack(QByteArrayView octets, qsizetype count, int fillBits = 0);

} // namespace GsmAlphabet
