#pragma once

#include "foundation/UserValues.h"
#include "subscription/OrderPermission.h"

/// Does a user take an order type? For a pass over many users, from one reading of the tables.
class SubscriptionReading
{
public:
    /// orderNames: the order types that will be asked for. Throws DatabaseFault.
    SubscriptionReading(Connection &connection, const QStringList &orderNames);
    /// True when the type is open, the user may use it (letter case in UserList does not count) and the user's switch is
    /// on or was never set.
    [[nodiscard]] bool isUserOrdered(const QString &orderName, const QString &userName) const;

private:
    UserValues m_switches;
    QHash<QString, OrderPermission> m_permissions; // by order type
};
