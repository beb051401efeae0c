#pragma once

#include <QByteArray>
#include <QString>
#include <optional>

namespace simulator
{
/// The GSM 7-bit default alphabet with its extension table (3GPP TS 23.038, 6.2.1).
/// A septet string is a QByteArray with one septet (0 to 127) in each byte.

/// The septets for a text, two for a character of the extension table; absent when any
/// character is in neither.
std::optional<QByteArray> septetsFromText(const QString &text);

/// The text of septets. An escape before an undefined extension code shows the default alphabet's character,
/// as the standard asks (6.2.1.1 note 1); an escape at the end is a space.
QString textFromSeptets(const QByteArray &septets);

/// Packs septets into octets (6.1.2.1.1), after fillBits (0 to 6) zero bits that align text behind a header.
QByteArray packSeptets(const QByteArray &septets, int fillBits);

/// Unpacks count septets after fillBits bits, or as many as the octets hold.
QByteArray unpackSeptets(const QByteArray &octets, qsizetype count, int fillBits);
} // namespace simulator
