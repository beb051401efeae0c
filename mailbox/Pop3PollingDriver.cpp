#include "mailbox/Pop3PollingDriver.h"

#include "database/Recordset.h"
#include "mailbox/getPopMail.h"
#include "subscription/OrderType.h"
#include "subscription/Subscription.h"

using namespace Qt::StringLiterals;

QStringList collectedUsers(Connection &connection)
{
    Recordset users(connection);
    users.open(u"select UserName from VO_UserInfor where AccountState='1'"_s);
    const SubscriptionReading subscriptions(connection, {OrderType::externalMail});
    QStringList names;
    for (; !users.atEnd(); users.moveNext()) {
        const QString userName = users.text("UserName"_L1);
        // No mailbox belongs to a user without a name.
        if (!userName.isNull() && subscriptions.isUserOrdered(OrderType::externalMail, userName))
            names += userName;
    }
    return names;
}

bool hasMailboxes(Connection &connection)
{
    return connection.firstValue(u"select OAID from SA_email"_s, {}) && !collectedUsers(connection).isEmpty();
}

Pop3Options mailServerOptions(const ServiceSettings &settings)
{
    Pop3Options options;
    if (settings.verifiesMailServers)
        options.tls = Pop3Tls::Verify;
    return options;
}

void Pop3PollingDriver::pass()
{
    CollectionPass pass{m_session.Conn(), m_watch, mailServerOptions(m_settings), m_trace, m_kept};
    pass.pop3.trace = m_trace.lines;
    pass.attachHiddenText = m_settings.attachesHiddenText;
    pass.pop3.waiter = std::make_shared<Pop3Waiter>();
    const QStringList users = collectedUsers(m_session.Conn());
    AccountTurns turns(pass, users, m_ahead);
    for (const QString &userName : users) {
        getPopMail(userName, turns);
        if (pass.databaseGone)
            throw DatabaseFault(*pass.databaseGone);
    }
}
