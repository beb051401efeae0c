#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

/// One SMS-SUBMIT (3GPP TS 23.040, 9.2.2.2) as AT+CMGS takes it.
struct SmsSubmit {
    static constexpr int mostParts = 255; ///< 3GPP TS 23.040, 9.2.3.24.1

    QByteArray octets; ///< an empty service-centre address (the one of AT+CSCA is used), then the TPDU

    /// The <length> of AT+CMGS: octets of the TPDU alone.
    [[nodiscard]] qsizetype tpduOctets() const { return octets.size() - 1; }
};

/// The SMS that carry text to number: one when it fits (160 septets of the GSM 7-bit alphabet, else 70 UTF-16
/// units), otherwise concatenated ones (153 septets, 67 units) with this 8-bit reference. No part ends inside
/// an escape or surrogate pair. Empty when more than SmsSubmit::mostParts are needed. number must be dialable.
[[nodiscard]] QList<SmsSubmit> encodeSubmits(const QString &number, const QString &text, quint8 reference);
