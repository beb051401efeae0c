#pragma once

#include <QtGlobal>

/// What the readers take of a message, however it is made up. What lies beyond is left out as said here.
namespace MessageLimits
{
inline constexpr qsizetype fieldOctets = 1 << 20; ///< of one header field; the rest of it is cut off
inline constexpr qsizetype fields = 5000;         ///< of one header; later ones do not count
inline constexpr qsizetype mailboxes = 10'000;    ///< of one address field; later ones do not count
inline constexpr qsizetype parameters = 1000;     ///< of one field; later ones do not count
inline constexpr int nesting = 32;                ///< multiparts; a deeper one is one attachment
/// Parts of all kinds, empty ones too. Later ones are left out, and the original is attached instead.
inline constexpr int parts = 2000;
} // namespace MessageLimits
