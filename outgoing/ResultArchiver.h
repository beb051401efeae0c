#pragma once

#include "foundation/DatabaseSession.h"
#include "foundation/FaultLog.h"
#include "platform/clock/Clock.h"

class Recordset;

/// Moves finished queue rows into the result table that the OA system reads.
class ResultArchiver
{
public:
    ResultArchiver(DatabaseSession &session, OperatorConsole &console, FaultLog &faults, const Clock &clock)
        : m_session(session), m_console(console), m_faults(faults), m_clock(clock)
    {
    }

    /// One pass over every queue row whose status is not waiting; the copy and the delete of a row are one
    /// transaction. A row that the database refuses stays and is told once. Throws DatabaseFault when the
    /// database is gone or serves nobody; what was archived until then stays.
    void pass();

private:
    void archive(const Recordset &queue, Recordset &results);

    DatabaseSession &m_session;
    OperatorConsole &m_console;
    FaultLog &m_faults;
    const Clock &m_clock;
};
