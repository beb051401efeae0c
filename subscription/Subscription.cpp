#include "subscription/Subscription.h"

using namespace Qt::StringLiterals;

namespace
{

bool isSwitchedOn(const std::optional<QVariant> &subscriptionSwitch)
{
    return !subscriptionSwitch || subscriptionSwitch->toString() == u"1"_s;
}

} // namespace

bool isUserOrdered(Connection &connection, const QString &orderName, const QString &userName)
{
    return OrderPermission::ofOpenOrder(connection, orderName).includes(userName, Qt::CaseInsensitive) &&
           isSwitchedOn(connection.firstValue(
               u"select IsOrder from SMS_IsOrder where UserName=? and Type=?"_s, {userName, orderName}));
}

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
    return permission->includes(userName, Qt::CaseInsensitive) &&
           isSwitchedOn(m_switches.value(userName, orderName));
}
