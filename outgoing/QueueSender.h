#pragma once

#include "database/NamedLock.h"
#include "foundation/DatabaseSession.h"
#include "foundation/FaultLog.h"
#include "modem/ModemControl.h"
#include "outgoing/InHand.h"
#include "outgoing/MessageStatus.h"
#include "outgoing/SendLimits.h"
#include "outgoing/SetAsideRows.h"
#include "outgoing/TriedRows.h"

#include <QSet>
#include <map>
#include <vector>

class Recordset;

/// Hands every waiting queue row to the modem and marks it sent or failed, the only place that does.
class QueueSender
{
public:
    QueueSender(DatabaseSession &session, OperatorConsole &console, FaultLog &faults, const Clock &clock,
                ModemControl &modem, SendLimits &limits, InHand &inHand)
        : m_session(session),
          m_console(console),
          m_faults(faults),
          m_clock(clock),
          m_modem(modem),
          m_limits(limits),
          m_inHand(inHand),
          m_tried(clock)
    {
    }

    /// With other servers on the same database: a row is sent under the lock of its number, with its status
    /// read again, and a number found locked is left out for the rest of the pass, so that no piece
    /// overtakes another.
    void setShared(bool isShared) { m_isShared = isShared; }
    /// True when the last pass ended before it had tried every row.
    [[nodiscard]] bool hasLeftRows() const { return !m_isPassing && m_untried > 0; }
    /// True from a sendNext() that is to be called again to the end of the pass.
    [[nodiscard]] bool isPassing() const { return m_isPassing; }

    /// Hands over the next row of the pass, after having begun one when none goes on. True when it is to be called
    /// again, from the event loop, so that what else is due waits for one message at most.
    ///
    /// A pass goes over every row that waits as it begins, those first that were never tried. One that has lasted a
    /// minute ends, and the next call begins another at once: then the single messages (SOAID -1) that have come since
    /// go before a broadcast, as always in a queue that takes longer than a minute.
    ///
    /// A send that the network refused for good is an outcome. When the modem cannot try (device gone, no network) the
    /// pass ends with ModemFault and the untried rows stay waiting. A row that got no answer, or that the network did
    /// not take this time, stays waiting too, for some tries (TriedRows), and the others go on. Throws DatabaseFault
    /// when the database is gone. A message that was handed over is never handed over again in this run, whatever the
    /// database does: only its status is written again. While that is refused nothing more is sent to its number, nor
    /// by another server.
    [[nodiscard]] bool sendNext();
    /// Ends the pass that goes on, if any: the rows that it did not try are no longer its own.
    void endPass();

    /// What the run before left in hand comes to its end: a result that was noted, or that the modem told since it
    /// was opened, is its row's; two hand-overs of unknown end are a failure; else the message is sent once more. To
    /// be called at a Start, before anything else writes to the queue; each pass does it too. Throws Fault.
    void settle();

private:
    struct Row {
        QVariant id; // OAID
        QVariant number;
        QVariant text;
        int group = 0;                        // the lowest goes first, ...
        std::chrono::milliseconds lastTry{0}; // ... in it the one tried longest ago
    };
    [[nodiscard]] bool beginPass();
    void readRows();
    [[nodiscard]] bool goOn();
    void trySend(const Row &row);
    [[nodiscard]] bool isOurs(qint64 id, const QString &number);
    void releaseLocks();
    void waitOrFail(qint64 id, const QString &number, const ModemFault &fault);
    void succeed(qint64 id);
    void fail(qint64 id, const QString &number, const QString &cause);
    void finish(qint64 id, MessageStatus status, const QString &cause);
    void writeStatus(qint64 id, MessageStatus status);
    void settleRow(qint64 id);
    void settleNoted(qint64 id, const QString &number, const InHand::Note &noted);

    DatabaseSession &m_session;
    OperatorConsole &m_console;
    FaultLog &m_faults;
    const Clock &m_clock;
    ModemControl &m_modem;
    SendLimits &m_limits; // a message that may not go yet ends the pass
    InHand &m_inHand;
    SetAsideRows m_setAside{m_faults, QLatin1StringView("SMS_Queues")}; // whose status is held
    bool m_isResolved = false;                                          // what an earlier run left in hand
    TriedRows m_tried;
    std::optional<std::chrono::milliseconds> m_acceptedAt; // the message that went over last
    std::vector<Row> m_rows; // of this pass, in their turn; the last m_untried are to come
    qint64 m_untried = 0;
    bool m_isPassing = false;
    std::chrono::milliseconds m_begunAt{0};                            // the pass
    std::chrono::milliseconds m_messageTime = std::chrono::seconds(3); // of the last message
    bool m_isShared = false;
    std::map<QString, NamedLock>
        m_locks;                   // by number: of the row in hand, and where a status could not be written
    QSet<QString> m_lockedNumbers; // found so in this pass
};
