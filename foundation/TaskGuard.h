#pragma once

#include "foundation/DatabaseSession.h"
#include "foundation/FaultLog.h"

#include <QElapsedTimer>
#include <chrono>
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
    /// or when the program has been asked to end. A pass that ended because somebody holds a table is left out alone,
    /// for 1 s, then 2, 4, 8 and 15.
    void runPass(const QString &task, const std::function<void()> &pass);
    /// The same for one turn of a pass that goes on from the event loop as long as turn answers true; the task
    /// is well again only when the whole pass is over. False when there is no next turn.
    [[nodiscard]] bool runTurn(const QString &task, const std::function<bool()> &turn);

private:
    struct Held {
        std::chrono::seconds wait{0};
        QElapsedTimer since;
    };

    bool attempt(const QString &task, const std::function<bool()> &turn);
    [[nodiscard]] bool databaseReady();
    [[nodiscard]] bool reopen();
    [[nodiscard]] bool isHeld(const QString &task) const;
    void hold(const QString &task);
    void databaseStruck(const QString &cause);

    DatabaseSession &m_session;
    OperatorConsole &m_console;
    FaultLog &m_faults;
    QStringList m_toldTables;
    QHash<QString, Held> m_held;      // passes that met a table which somebody holds
    QElapsedTimer m_sinceUnavailable; // invalid while the database serves
};
