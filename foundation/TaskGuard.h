#pragma once

#include "foundation/DatabaseSession.h"
#include "foundation/FaultLog.h"

#include <QElapsedTimer>
#include <functional>

/// The one place where faults end: every timer handler and event handler runs inside it, so that none crosses
/// a signal or an event. What the work had done stays; the operator is told once.
class TaskGuard
{
public:
    TaskGuard(DatabaseSession &session, OperatorConsole &console, FaultLog &faults)
        : m_session(session), m_console(console), m_faults(faults)
    {
    }

    /// Runs work that needs no database. task: what it is, in the operator's words.
    void run(const QString &task, const std::function<void()> &work);

    /// Tells that characters were replaced in this table, once a table and run: another session may find the same.
    void tellReplacedCharacters(const QString &table);

    /// Runs a pass: a lost connection is reopened first, and the pass is left out while that fails, while
    /// another pass has just found the database unavailable (the window would wait once per timer otherwise)
    /// or when the program has been asked to end.
    void runPass(const QString &task, const std::function<void()> &pass);

private:
    [[nodiscard]] bool databaseReady();
    void databaseStruck(const QString &cause);

    DatabaseSession &m_session;
    OperatorConsole &m_console;
    FaultLog &m_faults;
    QStringList m_toldTables;
    QElapsedTimer m_sinceUnavailable; // invalid while the database serves
};
