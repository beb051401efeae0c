#include "subscription/OrderPermission.h"

#include "database/Recordset.h"

using namespace Qt::StringLiterals;

OrderPermission OrderPermission::ofOpenOrder(Connection &connection, const QString &orderName)
{
    OrderPermission permission;
    Recordset orders(connection);
    orders.open(u"select isPulic, UserList from SMS_Order where OrderName=? and IsOrder='1'"_s, {orderName});
    if (orders.atEnd())
        return permission;
    permission.m_everyone = orders.text("isPulic"_L1) == u"1"_s;
    permission.m_list = u';' + orders.text("UserList"_L1) + u';';
    permission.m_lowerCaseList = permission.m_list.toLower();
    return permission;
}

bool OrderPermission::includes(const QString &userName, Qt::CaseSensitivity sensitivity) const
{
    if (m_everyone)
        return true;
    const QString name = u';' + userName + u';';
    return sensitivity == Qt::CaseSensitive ? m_list.contains(name)
                                            : m_lowerCaseList.contains(name.toLower());
}
