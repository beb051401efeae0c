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
    Pop3PollingDriver(DatabaseSession &session, ServiceSettings settings, MailTrace trace,
                      CollectionWatch &watch, KeptMails &kept)
        : m_session(session),
          m_settings(std::move(settings)),
          m_trace(std::move(trace)),
          m_watch(watch),
          m_kept(kept)
    {
    }

    /// One pass over the users, one after the other. What a mailbox or a message does wrong is passed over.
    /// Throws DatabaseFault when the database refuses the list of users, is gone or serves nobody; what was
    /// stored until then stays.
    void pass();
    void setAhead(const LoginsAhead &ahead) { m_ahead = ahead; }

private:
    DatabaseSession &m_session;
    ServiceSettings m_settings;
    MailTrace m_trace;
    CollectionWatch &m_watch;
    KeptMails &m_kept;
    LoginsAhead m_ahead;
};
