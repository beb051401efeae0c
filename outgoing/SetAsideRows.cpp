#include "outgoing/SetAsideRows.h"

#include <utility>

using namespace Qt::StringLiterals;

namespace
{

/// For rows tried again in one pass: the operator's window answers nothing while a pass runs.
constexpr qint64 maximumNanoseconds = 200'000'000;
/// For rows that somebody holds: the one that is waited for and some hundred more.
constexpr qint64 maximumHeldNanoseconds = 3'000'000'000;

} // namespace

void SetAsideRows::beginPass()
{
    if (m_isRoundOver) {
        ++m_round;
        if (std::exchange(m_heldRows, 0) == 0)
            m_faults.over(heldTask());
    }
    m_isRoundOver = true;
    m_spentNanoseconds = 0;
    m_heldNanoseconds = 0;
    m_trying.invalidate();
}

bool SetAsideRows::mayTry(qint64 key)
{
    m_trying.invalidate();
    const auto row = m_rows.find(key);
    m_isTryingAgain = row != m_rows.end();
    if (m_isTryingAgain && *row == m_round)
        return false;
    if (m_isTryingAgain && m_spentNanoseconds > maximumNanoseconds) {
        m_isRoundOver = false;
        return false;
    }
    m_trying.start();
    return true;
}

void SetAsideRows::add(qint64 key, const QString &cause)
{
    noteTime();
    m_rows.insert(key, m_round);
    m_faults.rowSetAside(m_table + u' ' + QString::number(key), cause);
}

void SetAsideRows::add(qint64 key, const DatabaseFault &fault)
{
    if (!fault.setsRowAside())
        throw DatabaseFault(fault);
    if (fault.concernsOneRow())
        add(key, fault.message());
    else
        hold(key, fault);
}

void SetAsideRows::hold(qint64 key, const DatabaseFault &fault)
{
    m_heldNanoseconds += noteTime();
    ++m_heldRows;
    if (m_rows.contains(key) && !m_faults.isFailing(heldTask()))
        m_faults.failed(heldTask(), u"OAID %1，%2"_s.arg(key).arg(fault.message()));
    m_rows.insert(key, m_round);
    if (m_heldNanoseconds > maximumHeldNanoseconds)
        throw DatabaseFault(fault);
}

QString SetAsideRows::heldTask() const
{
    return u"处理 %1 中被他人锁定的记录"_s.arg(m_table);
}

void SetAsideRows::remove(qint64 key)
{
    noteTime();
    m_rows.remove(key);
}

/// What the row in hand has cost.
qint64 SetAsideRows::noteTime()
{
    const qint64 spent = m_trying.isValid() ? m_trying.nsecsElapsed() : 0;
    if (m_isTryingAgain)
        m_spentNanoseconds += spent;
    m_trying.invalidate();
    return spent;
}
