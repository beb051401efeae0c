#pragma once

#include "modem/tpdu/OctetCursor.h"

#include <QByteArray>
#include <QString>

/// An address field of a TPDU (3GPP TS 23.040, 9.1.2.5).
struct SmsAddress {
    /// Those that matter here; every other is as Unknown.
    enum class TypeOfNumber : quint8 {
        Unknown = 0,
        International = 1,
        Alphanumeric = 5,
    };

    /// What an address to send to can hold (3GPP TS 23.040, 9.1.2.5).
    static constexpr qsizetype mostDigits = 20;

    TypeOfNumber ton = TypeOfNumber::Unknown;
    QString value; ///< the digits without "+", or the alphanumeric text

    /// As people write it: international numbers with a leading "+". A name without a letter in it is in
    /// quotation marks, so that nobody passes for the number that it spells.
    [[nodiscard]] QString display() const;
    bool operator==(const SmsAddress &) const = default;
};

/// The same as display(), but an international number of countryCode ("86", "" = none) in national form.
[[nodiscard]] QString displayWithin(const SmsAddress &address, const QString &countryCode);

/// An optional "+" and 1 to SmsAddress::mostDigits digits 0 to 9: all that may enter a command line or
/// a TPDU.
[[nodiscard]] bool isDialable(const QString &number);

/// Length in semi-octets, type, semi-octets, for the destination of an SMS-SUBMIT. number must be dialable.
[[nodiscard]] QByteArray encodeAddress(const QString &number);

/// Reads such a field, of any length: senders longer than the 20 digits of the standard exist.
[[nodiscard]] SmsAddress decodeAddress(OctetCursor &cursor, QStringView field);
