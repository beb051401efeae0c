#include "modem/tpdu/Scts.h"

#include <QTimeZone>

namespace
{

/// Two decimal digits in swapped semi-octets; negative when they are none.
int decimal(char octet)
{
    const auto value = static_cast<quint8>(octet);
    const int tens = value & 0x0f;
    const int units = value >> 4;
    return tens > 9 || units > 9 ? -1 : tens * 10 + units;
}

} // namespace

QDateTime decodeScts(QByteArrayView octets)
{
    if (octets.size() != 7)
        return {};
    const QDate date(2000 + decimal(octets[0]), decimal(octets[1]), decimal(octets[2]));
    const QTime time(decimal(octets[3]), decimal(octets[4]), decimal(octets[5]));
    if (decimal(octets[0]) < 0 || !date.isValid() || !time.isValid())
        return {};
    // The zone counts quarters of an hour; bit 3 of the first semi-octet is its sign. An impossible zone
    // (beyond 14 h) is taken as UTC: the message is worth more than its hour.
    constexpr char signBit = 0x08;
    constexpr int mostQuarters = 14 * 4;
    const bool isNegative = (octets[6] & signBit) != 0;
    const int quarters = decimal(static_cast<char>(octets[6] & ~signBit));
    const int seconds = quarters < 0 || quarters > mostQuarters ? 0 : quarters * 15 * 60;
    const QDateTime utc = QDateTime(date, time, QTimeZone::utc()).addSecs(isNegative ? seconds : -seconds);
    return utc.toLocalTime();
}
