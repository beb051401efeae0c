#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <optional>

/// The place of a part in a concatenated message (3GPP TS 23.040, 9.2.3.24.1 and 9.2.3.24.8).
struct Concatenation {
    int reference = 0;
    int referenceBits = 8; ///< 8 or 16
    int total = 1;         ///< parts, 2 to 255
    int sequence = 1;      ///< 1 to total
    bool operator==(const Concatenation &) const = default;
};

/// What a user data header tells that matters to text (3GPP TS 23.040, 9.2.3.24).
struct UserDataHeader {
    qsizetype octets = 0; ///< whole length with its length octet: the text starts behind it
    std::optional<Concatenation> concatenation;
    bool operator==(const UserDataHeader &) const = default;
};

/// Reads the header at the front of userData. Elements that are unknown or impossible are passed over; a
/// header whose elements do not fit it loses them all, one that is longer than the user data counts as text.
[[nodiscard]] UserDataHeader decodeUserDataHeader(QByteArrayView userData);

/// A header with one concatenation element of an 8-bit reference, its length octet in front.
[[nodiscard]] QByteArray encodeUserDataHeader(quint8 reference, int total, int sequence);
