#pragma once

#include <QByteArrayView>

/// How much of some octets is well-formed UTF-8 (RFC 3629, 4).
struct Utf8Check {
    qsizetype shortSequences = 0; ///< characters of two octets
    qsizetype longSequences = 0;  ///< characters of three or four octets
    qsizetype strayOctets = 0;    ///< high octets that belong to no character

    [[nodiscard]] bool valid() const { return strayOctets == 0; }
    /// Valid, or so much of it is that it must be UTF-8 with some octets lost: text in GBK or Big5 shows ten
    /// stray octets for every sequence.
    [[nodiscard]] bool isUtf8OrDamagedUtf8() const
    {
        return valid() || shortSequences + 2 * longSequences > strayOctets;
    }
};

[[nodiscard]] Utf8Check checkUtf8(QByteArrayView octets);
