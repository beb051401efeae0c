#pragma once

#include <QByteArrayView>
#include <QDateTime>

/// The instant of a service-centre time stamp of 7 octets (TP-SCTS, 3GPP TS 23.040, 9.2.3.11) in the server's
/// local time; an invalid QDateTime when it is no date-time. Years are 2000 to 2099.
[[nodiscard]] QDateTime decodeScts(QByteArrayView octets);
