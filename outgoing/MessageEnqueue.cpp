#include "outgoing/MessageEnqueue.h"

#include "database/Recordset.h"
#include "database/Transaction.h"
#include "foundation/UserDirectory.h"

using namespace Qt::StringLiterals;

void sysSendSMS(Connection &connection, const QString &MB, const QStringList &messages)
{
    // The transaction notices a failed user lookup, which alone would only leave ToUser empty.
    Transaction transaction(connection);
    const QString toUser = getMBUser(connection, MB);
    Recordset queue(connection);
    queue.openForAppend(u"SMS_Queues"_s);
    for (const QString &message : messages) {
        queue.addNew();
        queue.set("SOAID"_L1, -1);
        queue.set("ToUser"_L1, toUser);
        queue.set("ToMB"_L1, MB);
        queue.set("MsgContent"_L1, message);
        queue.set("MsgStatus"_L1, u"0"_s);
        queue.set("RetryCount"_L1, 0);
        queue.update();
    }
    transaction.commit();
}
