#include "subscription/Subscription.h"

using namespace Qt::StringLiterals;

SubscriptionReading::SubscriptionReading(Connection &connection, const QStringList &orderNames)
    : m_switches(connection, u"SMS_IsOrder"_s, u"Type"_s, u"IsOrder"_s)
{
    for (const QString &orderName : orderNames)
        m_permissions.insert(orderName, OrderPermission::ofOpenOrder(connection, orderName));
}

bool SubscriptionReading::isUserOrdered(const QString &orderName, const QString &userName) const
{
    const auto permission = m_permissions.constFind(orderName);
    Q_ASSERT(permission != m_permissions.cend());
    const auto ownSwitch = m_switches.value(userName, orderName);
    return permission->includes(userName, Qt::CaseInsensitive) &&
           (!ownSwitch || ownSwitch->toString() == u"1"_s);
}
