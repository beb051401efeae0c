#include "alerts/SkipOldMail.h"

#include "alerts/Watermarks.h"
#include "database/Recordset.h"
#include "database/Transaction.h"

#include <QSet>

using namespace Qt::StringLiterals;

int skipOldMail(Connection &connection)
{
    Transaction transaction(connection);
    const auto highest = connection.firstValue(u"select max(VOID) from VO_Email"_s, {});
    const qint64 highestMail = highest ? highest->toLongLong() : 0; // no mail at all: null, which is 0
    QSet<QString> userNames;
    Recordset users(connection);
    users.open(u"select UserName, Mobile from VO_UserInfor where AccountState='1'"_s);
    for (; !users.atEnd(); users.moveNext()) {
        const QString userName = users.text("UserName"_L1);
        if (userName.isNull() || users.text("Mobile"_L1).isEmpty() || userNames.contains(userName))
            continue;
        userNames.insert(userName);
        for (const MailKind kind : mailKinds)
            Watermarks::store(connection, userName, kind, highestMail);
    }
    transaction.commit();
    return static_cast<int>(userNames.size());
}
