#pragma once

#include "foundation/FaultLog.h"

#include <QElapsedTimer>
#include <QHash>

/// The rows of one table that the database refused, from one pass to the next. Each is told once and tried
/// again for ever, since somebody may have mended it; but all that a pass tries again takes a fraction of a
/// second at most, and what that leaves out has its turn in later passes.
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
    void remove(qint64 key);

private:
    void noteTime();

    FaultLog &m_faults;
    QLatin1String m_table;
    QHash<qint64, int> m_rows; // key -> round in which it was tried last
    int m_round = 0;           // a round tries every row again; it may take several passes
    bool m_isRoundOver = false;
    qint64 m_spentNanoseconds = 0; // in this pass on rows tried again
    QElapsedTimer m_trying;        // valid while one is
};
