#pragma once

#include "alerts/NewMail.h"
#include "foundation/DatabaseSession.h"

/// Queues one SMS for each new mail of each user who receives the service.
class NewMailAlerts
{
public:
    NewMailAlerts(DatabaseSession &session, OperatorConsole &console, FaultLog &faults,
                  MailHistory::Limits limits = {})
        : m_session(session), m_console(console), m_faults(faults), m_history(limits)
    {
    }

    /// One pass over all active users with a mobile number. The alerts of one user and service are together
    /// with the watermark behind them, or none does. A user whose alerts the database refuses is told once
    /// and the others go on. Throws DatabaseFault when the database is gone or serves nobody; what was queued
    /// until then stays.
    void pass();

private:
    using SenderNames = QHash<QString, QString>; // display name by user name, for one pass

    void alert(const NewMail &newMail, const QString &mobile, const QString &userName, MailKind kind,
               AlertRecipients::Service &service, SenderNames &senderNames);
    [[nodiscard]] QString senderLabel(MailKind kind, const QString &from, SenderNames &senderNames);

    DatabaseSession &m_session;
    OperatorConsole &m_console;
    FaultLog &m_faults;
    MailHistory m_history;
};
