#include "foundation/UserDirectory.h"

using namespace Qt::StringLiterals;

namespace
{

QString textOrNothing(Connection &connection, const QString &query, const QString &argument)
{
    try {
        const auto found = connection.firstValue(query, {argument});
        if (found && !found->isNull())
            return found->toString();
    } catch (const DatabaseFault &) {
        // No match and a failed lookup look alike to the caller; the connection remembers.
    }
    return u""_s;
}

} // namespace

QString getUserMB(Connection &connection, const QString &UserName)
{
    static const QString query = u"select Mobile from VO_UserInfor where UserName=?"_s;
    return textOrNothing(connection, query, UserName);
}

QString getMBUser(Connection &connection, const QString &MB)
{
    static const QString query = u"select UserName from VO_UserInfor where Mobile=?"_s;
    return textOrNothing(connection, query, MB);
}

QVariant ShowUserName(Connection &connection, const QString &UserName)
{
    const auto name =
        connection.firstValue(u"select TureName from VO_UserInfor where UserName=?"_s, {UserName});
    return name.value_or(QVariant());
}
