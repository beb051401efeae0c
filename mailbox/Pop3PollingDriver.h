#pragma once

#include "foundation/DatabaseSession.h"
#include "foundation/ServiceSettings.h"
#include "mailbox/AccountTurns.h"

/// Whose external mailboxes are collected: the names of the active users who take the external-mail notice,
/// in the order of VO_UserInfor. Throws DatabaseFault.
[[nodiscard]] QStringList collectedUsers(Connection &connection);

/// Is there anything to collect: a mailbox and anybody who takes the notice? Throws DatabaseFault.
[[nodiscard]] bool hasMailboxes(Connection &connection);

/// How mail servers are spoken to.
[[nodiscard]] Pop3Options mailServerOptions(const ServiceSettings &settings);

/// Collects the external mailboxes of all users who take the external-mail notice.
class Pop3PollingDriver
{
public:
    Pop3PollingDriver(DatabaseSession &session, const ServiceSettings &settings, MailTrace trace,
                      CollectionWatch &watch, KeptMails &kept, const TurnLimits &limits = {});

    /// One pass over the users. What a mailbox or a message does wrong is passed over.
    /// Throws DatabaseFault when the database refuses the list of users, is gone or serves nobody; what was
    /// stored until then stays.
    void pass();
    /// From the next pass on.
    void setSettings(const ServiceSettings &settings);
    /// Those that were slow go on, each with its session, until the descriptor can be read.
    void goOnUntilReadable(int descriptor) { m_turns.goOnUntilReadable(descriptor); }

private:
    DatabaseSession &m_session;
    CollectionPass m_pass;
    AccountTurns m_turns;
};
