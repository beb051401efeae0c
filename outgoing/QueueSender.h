#pragma once

#include "foundation/DatabaseSession.h"
#include "foundation/FaultLog.h"
#include "modem/ModemControl.h"
#include "outgoing/MessageStatus.h"

#include <QElapsedTimer>
#include <QHash>

class Recordset;

/// Hands every waiting queue row to the modem and marks it sent or failed, the only place that does.
class QueueSender
{
public:
    QueueSender(DatabaseSession &session, OperatorConsole &console, FaultLog &faults, ModemControl &modem)
        : m_session(session), m_console(console), m_faults(faults), m_modem(modem)
    {
    }

    /// One pass over every waiting row. A send that the network refused for good is an outcome. When the modem
    /// cannot try (device gone, no network) the pass ends with ModemFault and the untried rows stay waiting. A
    /// row that got no answer, or that the network did not take this time, stays waiting too, for three tries in
    /// all (which count only half a minute apart while the network takes nothing), and the others go on. Throws
    /// DatabaseFault when the database is gone. A message that was handed over is never handed over again in this
    /// run, whatever the database does: only its status is written again, and while that is refused nothing more
    /// is sent.
    void pass();

private:
    void trySend(const Recordset &queue);
    struct Tries {
        int count = 0;
        QElapsedTimer last;
        qint64 acceptedBefore = 0; ///< messages of this run that were accepted before the first try
    };

    [[nodiscard]] bool mayGoOn() const;
    int countTry(qint64 id, ModemFault::Kind kind);
    void waitOrFail(qint64 id, const QString &number, const ModemFault &fault);
    void fail(qint64 id, const QString &number, const QString &cause);
    void finish(qint64 id, MessageStatus status, OperatorConsole::Panel counter);
    void writeStatus(qint64 id);
    void writeOverdueStatuses();

    DatabaseSession &m_session;
    OperatorConsole &m_console;
    FaultLog &m_faults;
    ModemControl &m_modem;
    QHash<qint64, MessageStatus> m_unwrittenStatuses; // by OAID: tried, but the database does not know yet
    QHash<qint64, Tries> m_tries;                     // by OAID: without an answer, or not taken
    qint64 m_accepted = 0;                            // messages in this run
    int m_notTaken = 0;                               // rows in succession in this pass
};
