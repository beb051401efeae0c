#include "alerts/SkipOldMail.h"

#include "alerts/AlertRecipients.h"
#include "alerts/Watermarks.h"
#include "database/Transaction.h"

#include <QSet>

using namespace Qt::StringLiterals;

int skipOldMail(Connection &connection)
{
    Transaction transaction(connection);
    const auto highest = connection.firstValue(u"select max(VOID) from VO_Email"_s, {});
    const qint64 highestMail = highest ? highest->toLongLong() : 0; // no mail at all: null, which is 0
    QSet<QString> userNames;
    for (const MobileAccount &account : mobileAccounts(connection))
        userNames.insert(account.userName);
    for (const QString &userName : std::as_const(userNames)) {
        for (const MailKind kind : mailKinds)
            Watermarks::store(connection, userName, kind, highestMail);
    }
    transaction.commit();
    return static_cast<int>(userNames.size());
}
