#pragma once

#include <QByteArrayView>
#include <QDateTime>

/// A Date field (RFC 5322, 3.3 and 4.3) in local time, day names and comments passed over; the forms of
/// asctime() and ISO 8601 are read too. A date without a zone is wall time,
/// one without a time midnight. Invalid when it cannot be read or lies outside the years
/// 1753 to 9999, which date columns hold.
[[nodiscard]] QDateTime parseMailDate(QByteArrayView raw);
