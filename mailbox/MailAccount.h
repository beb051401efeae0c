#pragma once

#include "database/Connection.h"

#include <QList>

/// One external mailbox of a user, a row of SA_email.
struct MailAccount {
    std::optional<qint64> OAID; ///< absent when the row has none: nothing can be stored for it then
    QString POPIP;
    int PopPort = 0;
    QString EUsername;
    QString EPassword;
    bool keepsCopies = true; ///< false when IsBaoLiu equals 0, as number or text
};

/// The accounts of a user in the database's own order. A port that is null, no number, below the 16-bit
/// signed range or above 65535 is 110. Throws DatabaseFault.
[[nodiscard]] QList<MailAccount> mailAccounts(Connection &connection, const QString &userName);
