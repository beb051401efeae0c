#pragma once

#include "foundation/DatabaseSession.h"
#include "outgoing/SetAsideRows.h"
#include "outgoing/WaitingRows.h"
#include "platform/clock/Clock.h"

class Recordset;

/// Turns the OA system's due waiting rows into queue rows: one send-list row a message, one queue row a piece
/// and recipient, the waiting row deleted, all of it one transaction.
class ScheduledMessageExpander
{
public:
    ScheduledMessageExpander(DatabaseSession &session, OperatorConsole &console, FaultLog &faults,
                             const Clock &clock)
        : m_session(session),
          m_console(console),
          m_clock(clock),
          m_waiting(session.Conn(), clock),
          m_setAside(faults, QLatin1String("SMS_WaitToSend"))
    {
    }

    /// One pass over every waiting row that is not certainly in the future. A row that can never be expanded is set aside and told once; a row
    /// that the database refuses stays, is told, and the others go on. A row that the OA system withdraws or
    /// postpones before it is written is left alone, and so is the row in hand at a stop, which costs the
    /// connection. Throws DatabaseFault when the database is gone or serves nobody; what was expanded until
    /// then stays.
    void pass();

private:
    void expand(qint64 waitingId);
    /// False when the row has changed so that nothing of it may be sent, or when the program is to end.
    [[nodiscard]] bool writeRows(qint64 waitingId);
    /// These two: false when the program is to end.
    [[nodiscard]] bool writeRow(const Recordset &waiting);
    [[nodiscard]] bool queuePieces(const Recordset &waiting, const QVariant &sendListId,
                                   const QStringList &recipients);

    DatabaseSession &m_session;
    OperatorConsole &m_console;
    const Clock &m_clock;
    WaitingRows m_waiting;
    SetAsideRows m_setAside;
};

/// The items of a recipient list: user names separated by ";" or "*", one separator at either end allowed,
/// nothing trimmed, empty items between neighbouring separators kept.
[[nodiscard]] QStringList recipientItems(QString toUserList);
