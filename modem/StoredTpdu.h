#pragma once

#include <QByteArray>

/// A received TPDU and where its copy lies.
struct StoredTpdu {
    QByteArray memory;     ///< "SM", "ME" and the like; "" when the modem has one memory without a name
    int index = 0;         ///< in its memory; of direct ones: the order of their arrival
    QByteArray octets;     ///< raw, service-centre address first
    int tpduOctets = -1;   ///< length that the modem told, without that address; negative when it told none
    bool isDirect = false; ///< delivered without a stored copy: it lies nowhere else
    bool operator==(const StoredTpdu &) const = default;
    /// As many octets came as were told.
    [[nodiscard]] bool fits() const
    {
        return tpduOctets < 0 || octets.size() == tpduOctets ||
               (!octets.isEmpty() && octets.size() == tpduOctets + 1 + quint8(octets.front()));
    }
};

/// Of a line of hexadecimal digits; half an octet at its end is left out.
[[nodiscard]] inline QByteArray octetsOf(const QByteArray &hexDigits)
{
    return QByteArray::fromHex(hexDigits.first(hexDigits.size() / 2 * 2));
}
