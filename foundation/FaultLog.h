#pragma once

#include "foundation/OperatorConsole.h"

#include <QElapsedTimer>
#include <QHash>
#include <QSet>
#include <functional>

/// Tells the operator of faults: each once while it lasts, and once more when it is over. One that came back at once
/// is over when it has stayed away for a while.
class FaultLog
{
public:
    explicit FaultLog(OperatorConsole &console) : m_console(console) {}

    /// Hears of every end of a task, also of those that are not told again. cause: of a fault, nothing for a success.
    /// task: "" for a row that was set aside.
    using Listener = std::function<void(const QString &task, const std::optional<QString> &cause)>;
    void setListener(Listener listener) { m_listener = std::move(listener); }

    /// A task failed. Logs unless this task's last logged cause is the same and not over.
    void failed(const QString &task, const QString &cause);
    /// A task succeeded. Logs when a fault of it stood.
    void over(const QString &task);
    [[nodiscard]] bool isFailing(const QString &task) const { return m_standing.contains(task); }

    /// A row that can never succeed was set aside. Logged once per run and row.
    /// row: names table and key, for example "SMS_WaitToSend 17". Of many rows in one task only the first are
    /// told one by one.
    void rowSetAside(const QString &row, const QString &cause);
    /// A task is over: tells how many more rows it set aside than were told.
    void sumUpRows();

private:
    void tell(const QString &task, const std::optional<QString> &cause) const
    {
        if (m_listener)
            m_listener(task, cause);
    }

    OperatorConsole &m_console;
    Listener m_listener;
    struct Standing {
        QString cause;
        QElapsedTimer sinceFailed;
        bool comesAndGoes = false;
    };
    QHash<QString, Standing> m_standing;       // by task
    QHash<QString, QElapsedTimer> m_sinceOver; // by task
    QSet<QString> m_rowsSetAside;
    int m_newRows = 0; // set aside by the task that runs
    QString m_lastRow; // of these, with its cause
};
