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

Pop3PollingDriver::Pop3PollingDriver(DatabaseSession &session, const ServiceSettings &settings,
                                     MailTrace trace, CollectionWatch &watch, KeptMails &kept,
                                     const TurnLimits &limits)
    : m_session(session), m_pass{session.Conn(), watch, {}, std::move(trace), kept}, m_turns(m_pass, limits)
{
    m_pass.pop3.trace = m_pass.trace.lines;
    m_pass.pop3.waiter = std::make_shared<Pop3Waiter>();
    setSettings(settings);
}

void Pop3PollingDriver::setSettings(const ServiceSettings &settings)
{
    m_pass.pop3.tls = mailServerOptions(settings).tls;
    m_pass.attachHiddenText = settings.attachesHiddenText;
}

void Pop3PollingDriver::pass()
{
    m_turns.beginPass();
    const QStringList users = collectedUsers(m_session.Conn());
    for (const QString &userName : users)
        getPopMail(userName, m_turns);
    m_turns.finishPass();
    if (m_pass.databaseGone)
        throw DatabaseFault(*m_pass.databaseGone);
}
