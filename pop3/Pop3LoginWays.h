#pragma once

#include <QByteArrayList>

/// What earlier sessions learnt about logging in to an account. A way is a SASL mechanism, "APOP" or "USER".
struct Pop3LoginWays {
    QByteArray proven;      ///< worked before: the only one that is tried
    QByteArrayList refused; ///< left out

    bool operator==(const Pop3LoginWays &) const = default;
};
