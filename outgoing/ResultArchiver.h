#pragma once

#include "foundation/DatabaseSession.h"
#include "outgoing/SetAsideRows.h"
#include "platform/clock/Clock.h"

#include <vector>

class Recordset;

/// Moves finished queue rows into the result table that the OA system reads.
class ResultArchiver
{
public:
    ResultArchiver(DatabaseSession &session, OperatorConsole &console, FaultLog &faults, const Clock &clock)
        : m_session(session),
          m_console(console),
          m_clock(clock),
          m_setAside(faults, QLatin1String("SMS_Queues"))
    {
    }

    /// One pass over every queue row whose status is not waiting, in batches; the copies and the deletes of a
    /// batch are one transaction, and where the database refuses one, those of each row. A row that the
    /// database refuses alone stays and is told once. Throws DatabaseFault when the database is gone or
    /// serves nobody; what was archived until then stays.
    void pass();

private:
    using Keys = std::vector<qint64>; // OAID, ascending

    [[nodiscard]] Keys finishedRows();
    void archiveBatch(Keys::const_iterator first, Keys::const_iterator end);
    void archiveAlone(qint64 key);
    /// False when a row has gone meanwhile or cannot be deleted; nothing is then archived.
    [[nodiscard]] bool archiveRange(qint64 first, qint64 last, bool alsoSetAside);
    void copy(const Recordset &queue, Recordset &results);
    [[nodiscard]] bool deleteRows(const QVariantList &ids);

    DatabaseSession &m_session;
    OperatorConsole &m_console;
    const Clock &m_clock;
    SetAsideRows m_setAside;
};
