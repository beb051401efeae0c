#include "outgoing/SetAsideRows.h"

using namespace Qt::StringLiterals;

namespace
{

/// For rows tried again in one pass: the operator's window answers nothing while a pass runs.
constexpr qint64 maximumNanoseconds = 200'000'000;

} // namespace

void SetAsideRows::beginPass()
{
    if (m_isRoundOver)
        ++m_round;
    m_isRoundOver = true;
    m_spentNanoseconds = 0;
    m_trying.invalidate();
}

bool SetAsideRows::mayTry(qint64 key)
{
    m_trying.invalidate();
    const auto row = m_rows.find(key);
    if (row == m_rows.end())
        return true;
    if (*row == m_round)
        return false;
    if (m_spentNanoseconds > maximumNanoseconds) {
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

void SetAsideRows::remove(qint64 key)
{
    noteTime();
    m_rows.remove(key);
}

void SetAsideRows::noteTime()
{
    if (m_trying.isValid())
        m_spentNanoseconds += m_trying.nsecsElapsed();
    m_trying.invalidate();
}
