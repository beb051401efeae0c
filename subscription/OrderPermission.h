#pragma once

#include "database/Connection.h"

/// Who may use an order type, as the first open row of SMS_Order says.
class OrderPermission
{
public:
    /// The permission of the first row of that type with IsOrder "1"; nobody's when there is none.
    /// Throws DatabaseFault.
    [[nodiscard]] static OrderPermission ofOpenOrder(Connection &connection, const QString &orderName);

    /// True for every user of a public type, else for the whole names in UserList.
    [[nodiscard]] bool includes(const QString &userName, Qt::CaseSensitivity sensitivity) const;

private:
    bool m_everyone = false;
    QString m_list; // ";" + UserList + ";", null when the type is not open
    QString m_lowerCaseList;
};
