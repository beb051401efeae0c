#pragma once

#include "foundation/DatabaseSession.h"
#include "foundation/FaultLog.h"
#include "platform/clock/Clock.h"

class Recordset;

/// Turns the OA system's due waiting rows into queue rows: one send-list row a message, one queue row a piece
/// and recipient, the waiting row deleted, all of it one transaction.
class ScheduledMessageExpander
{
public:
    ScheduledMessageExpander(DatabaseSession &session, OperatorConsole &console, FaultLog &faults,
                             const Clock &clock)
        : m_session(session), m_console(console), m_faults(faults), m_clock(clock)
    {
    }

    /// One pass over every waiting row. A row that can never be expanded is set aside and told once; a row
    /// that the database refuses stays, is told, and the others go on. Throws DatabaseFault when the database
    /// is gone or serves nobody; what was expanded until then stays.
    void pass();

private:
    [[nodiscard]] bool isDue(const QDateTime &scheduled) const;
    void expand(const QVariant &waitingId);
    void queuePieces(const Recordset &waiting, const QVariant &sendListId, const QStringList &recipients);

    DatabaseSession &m_session;
    OperatorConsole &m_console;
    FaultLog &m_faults;
    const Clock &m_clock;
};

/// The items of a recipient list: user names separated by ";" or "*", one separator at either end allowed,
/// nothing trimmed, empty items between neighbouring separators kept.
[[nodiscard]] QStringList recipientItems(QString toUserList);
