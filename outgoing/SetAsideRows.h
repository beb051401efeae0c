#pragma once

#include "database/driver/DatabaseFault.h"
#include "foundation/FaultLog.h"

#include <QElapsedTimer>
#include <QHash>

/// The rows of one table that the database refused or that somebody holds, from one pass to the next. A refused one is
/// told once; held ones are told together, once one was met twice, and when there is none any more. All are tried again
/// for ever, since somebody may have mended them; but all that a pass tries again takes a fraction of a second at most,
/// and what that leaves out has its turn in later passes.
class SetAsideRows
{
public:
    /// table: as the operator's log names it.
    SetAsideRows(FaultLog &faults, QLatin1String table) : m_faults(faults), m_table(table) {}

    /// A pass over all rows of the table begins.
    void beginPass();
    [[nodiscard]] bool contains(qint64 key) const { return m_rows.contains(key); }
    /// False for a row set aside that has to wait for a later pass. A row tried is added again or removed.
    [[nodiscard]] bool mayTry(qint64 key);
    void add(qint64 key, const QString &cause);
    /// The same for a row that met this fault. Throws it when it concerns more than the row, and when held rows have
    /// cost the pass too much: then somebody holds the table.
    void add(qint64 key, const DatabaseFault &fault);
    void remove(qint64 key);

private:
    void hold(qint64 key, const DatabaseFault &fault);
    qint64 noteTime();
    [[nodiscard]] QString heldTask() const;

    FaultLog &m_faults;
    QLatin1String m_table;
    QHash<qint64, int> m_rows; // key -> round in which it was tried last
    int m_round = 0;           // a round tries every row again; it may take several passes
    bool m_isRoundOver = false;
    qint64 m_spentNanoseconds = 0; // in this pass on rows tried again
    qint64 m_heldNanoseconds = 0;  // in this pass on rows that somebody holds
    int m_heldRows = 0;            // in this round
    QElapsedTimer m_trying;        // valid while one is
    bool m_isTryingAgain = false;
};
