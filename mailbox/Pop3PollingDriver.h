#pragma once

#include "foundation/DatabaseSession.h"
#include "foundation/OperatorConsole.h"
#include "mailbox/MailTrace.h"

/// Whose external mailboxes are collected: the names of the active users who take the external-mail notice,
/// in the order of VO_UserInfor. Throws DatabaseFault.
[[nodiscard]] QStringList collectedUsers(Connection &connection);

/// How mail servers are spoken to, as the setting MailTls has it. Throws Fault when the registry cannot be
/// read.
[[nodiscard]] Pop3Options mailServerOptions(const Registry &registry);

/// Collects the external mailboxes of all users who take the external-mail notice.
class Pop3PollingDriver
{
public:
    Pop3PollingDriver(DatabaseSession &session, const Registry &registry, OperatorConsole &console,
                      MailTrace trace)
        : m_session(session), m_registry(registry), m_console(console), m_trace(std::move(trace))
    {
    }

    /// One pass over the users, one after the other. What a mailbox or a message does wrong is passed over.
    /// Throws DatabaseFault when the database refuses the list of users, is gone or serves nobody; what was
    /// stored until then stays.
    void pass();

private:
    DatabaseSession &m_session;
    const Registry &m_registry;
    OperatorConsole &m_console;
    MailTrace m_trace;
};
