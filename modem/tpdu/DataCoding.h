#pragma once

#include <QtGlobal>

/// How user data is to be read (TP-DCS, 3GPP TS 23.038, 4).
struct DataCoding {
    enum class Alphabet {
        Gsm7,
        EightBit,
        Ucs2,
    };
    Alphabet alphabet = Alphabet::Gsm7;
    bool isCompressed = false; ///< 3GPP TS 23.042: not decompressed here
    bool operator==(const DataCoding &) const = default;
};

/// Reserved codings count as the GSM 7-bit alphabet, as the clause says.
[[nodiscard]] DataCoding decodeDataCoding(quint8 dcs);
