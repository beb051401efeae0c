#pragma once

#include "database/NamedLock.h"
#include "foundation/DatabaseSession.h"
#include "foundation/FaultLog.h"
#include "modem/ModemControl.h"
#include "outgoing/InHand.h"
#include "outgoing/MessageStatus.h"
#include "outgoing/SendLimits.h"

#include <QElapsedTimer>
#include <QHash>
#include <QSet>
#include <vector>

class Recordset;

/// Hands every waiting queue row to the modem and marks it sent or failed, the only place that does.
class QueueSender
{
public:
    QueueSender(DatabaseSession &session, OperatorConsole &console, FaultLog &faults, ModemControl &modem,
                InHand &inHand)
        : m_session(session), m_console(console), m_faults(faults), m_modem(modem), m_inHand(inHand)
    {
    }

    /// From now on within these limits, which outlive the sender: a message that may not go yet ends
    /// the pass.
    void setLimits(SendLimits *limits) { m_limits = limits; }
    /// With other servers on the same database: a row is sent under the lock of its number, with its status
    /// read again, and a number found locked is left out for the rest of the pass, so that no piece
    /// overtakes another.
    void setShared(bool isShared) { m_isShared = isShared; }
    /// True while a status that could not be written keeps the number's lock, so that no other server
    /// sends it.
    [[nodiscard]] bool holdsLock() const { return m_isShared && m_inHand.hasResults(); }
    /// True when the last pass ended before it had tried every row.
    [[nodiscard]] bool hasLeftRows() const { return m_untried > 0; }

    /// One pass over every waiting row. A send that the network refused for good is an outcome. When the
    /// modem cannot try (device gone, no network) the pass ends with ModemFault and the untried rows stay
    /// waiting. A row that got no answer, or that the network did not take this time, stays waiting too, for
    /// three tries in all (which count only half a minute apart while nothing is accepted, five minutes while
    /// the network takes none of several rows), and the others go on. Throws DatabaseFault when the database
    /// is gone. A message that was handed over is never handed over again in this run, whatever the database
    /// does: only its status is written again. While that is refused nothing more is sent to its number, and with
    /// other servers on the database nothing at all.
    void pass();

    /// What the run before left in hand comes to its end: a result that was noted, or that the modem told since it
    /// was opened, is its row's; two hand-overs of unknown end are a failure; else the message is sent once more. To
    /// be called at a Start, before anything else writes to the queue; each pass does it too. Throws Fault.
    void settle();

private:
    struct Tries {
        int count = 0;
        QElapsedTimer last;
        qint64 acceptedBefore = 0; ///< messages of this run that were accepted before the first try
    };

    struct Row {
        QVariant id; // OAID
        QVariant number;
        QVariant text;
    };
    [[nodiscard]] std::vector<Row> rowsInTurn(Recordset &queue) const;
    void trySend(const Row &row);
    [[nodiscard]] bool mayGoOn() const;
    [[nodiscard]] bool mustRest(const Row &row);
    [[nodiscard]] bool isOurs(qint64 id, const QString &number);
    int countTry(qint64 id, ModemFault::Kind kind);
    void waitOrFail(qint64 id, const QString &number, const ModemFault &fault);
    void succeed(qint64 id);
    void fail(qint64 id, const QString &number, const QString &cause);
    void finish(qint64 id, MessageStatus status, const QString &cause);
    [[nodiscard]] bool writeStatus(qint64 id, MessageStatus status);
    [[nodiscard]] bool settleRow(qint64 id);
    void settleNoted(qint64 id, const QString &number, const InHand::Note &noted);

    DatabaseSession &m_session;
    OperatorConsole &m_console;
    FaultLog &m_faults;
    ModemControl &m_modem;
    InHand &m_inHand;
    bool m_isResolved = false;      // what an earlier run left in hand
    QHash<qint64, Tries> m_tries;   // by OAID: without an answer, or not taken
    qint64 m_accepted = 0;          // messages in this run
    qint64 m_untried = 0;           // rows of this pass
    SendLimits *m_limits = nullptr; // none: none is kept
    bool m_isShared = false;
    NamedLock m_lock{m_session.Conn()};
    QSet<QString> m_lockedNumbers; // found so in this pass
    int m_notTaken = 0;            // rows in succession in this pass
    bool m_isOutage = false;       // the last pass ended because the network took nothing
};
