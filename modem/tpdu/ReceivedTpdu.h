#pragma once

#include "modem/tpdu/DataCoding.h"
#include "modem/tpdu/SmsAddress.h"
#include "modem/tpdu/UserDataHeader.h"

#include <QByteArrayView>
#include <QDateTime>
#include <QString>
#include <variant>

/// SMS-DELIVER (3GPP TS 23.040, 9.2.2.1), fields in wire order.
struct SmsDeliver {
    SmsAddress oa;
    quint8 pid = 0;
    DataCoding dcs;
    QDateTime scts; ///< local time; invalid when the stamp is no date-time
    UserDataHeader udh;
    /// UTF-16 from the GSM 7-bit alphabet or UCS-2 (an odd last octet is left out). 8-bit and compressed
    /// data: upper-case hexadecimal digits, which lose nothing.
    QString ud;
    bool operator==(const SmsDeliver &) const = default;
};

/// SMS-STATUS-REPORT (3GPP TS 23.040, 9.2.2.3). Only recognised: this program asks for none.
struct SmsStatusReport {
    bool operator==(const SmsStatusReport &) const = default;
};

/// Octets that are neither.
struct UnreadableTpdu {
    QString problem; ///< names the field
    bool operator==(const UnreadableTpdu &) const = default;
};

using ReceivedTpdu = std::variant<SmsDeliver, SmsStatusReport, UnreadableTpdu>;

/// Decodes a TPDU as the modem gives it, service-centre address first. octets: raw, not hex. tpduOctets: the
/// length that the modem told, which leaves the service-centre address out; negative when it told none. A
/// modem that leaves that address away is recognised by it. Never throws on content.
[[nodiscard]] ReceivedTpdu decodeReceived(QByteArrayView octets, qsizetype tpduOctets = -1);
