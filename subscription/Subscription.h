#pragma once

#include "foundation/UserValues.h"
#include "subscription/OrderPermission.h"

/// Does this user take this order type? True when the type is open, the user may use it (letter case in
/// UserList does not count) and the user's switch is on or was never set. Throws DatabaseFault.
[[nodiscard]] bool isUserOrdered(Connection &connection, const QString &orderName, const QString &userName);

/// The same test for a pass over many users: the same answers from one reading of the tables.
class SubscriptionReading
{
public:
    /// orderNames: the order types that will be asked for. Throws DatabaseFault, as does the test.
    SubscriptionReading(Connection &connection, const QStringList &orderNames);
    [[nodiscard]] bool isUserOrdered(const QString &orderName, const QString &userName) const;

private:
    UserValues m_switches;
    QHash<QString, OrderPermission> m_permissions; // by order type
};
