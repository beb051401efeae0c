#include "foundation/FaultLog.h"

using namespace Qt::StringLiterals;

namespace
{

/// Rows of one task that are told one by one: as many as an operator would read.
constexpr int maximumToldRows = 20;

/// What comes back sooner comes and goes: some intervals.
constexpr std::chrono::minutes aWhile{2};

bool isRecent(const QElapsedTimer &since)
{
    return since.isValid() && std::chrono::milliseconds(since.elapsed()) < aWhile;
}

} // namespace

void FaultLog::failed(const QString &task, const QString &cause)
{
    tell(task, cause);
    Standing &standing = m_standing[task];
    standing.sinceFailed.start();
    if (standing.cause == cause)
        return;
    standing.cause = cause;
    standing.comesAndGoes = standing.comesAndGoes || isRecent(m_sinceOver.value(task));
    m_console.addLogLine(task + u"失败："_s + cause);
}

void FaultLog::over(const QString &task)
{
    tell(task, std::nullopt);
    const auto standing = m_standing.constFind(task);
    if (standing == m_standing.cend() || (standing->comesAndGoes && isRecent(standing->sinceFailed)))
        return;
    m_standing.erase(standing);
    m_sinceOver[task].start();
    m_console.addLogLine(task + u"恢复正常"_s);
}

void FaultLog::rowSetAside(const QString &row, const QString &cause)
{
    tell({}, row + u"："_s + cause);
    if (m_rowsSetAside.contains(row))
        return;
    m_rowsSetAside.insert(row);
    m_lastRow = u"记录 "_s + row + u" 无法处理："_s + cause;
    if (++m_newRows <= maximumToldRows)
        m_console.addLogLine(m_lastRow);
}

void FaultLog::sumUpRows()
{
    if (m_newRows > maximumToldRows)
        m_console.addLogLine(u"另有 %1 条记录无法处理，最后一条："_s.arg(m_newRows - maximumToldRows) +
                             m_lastRow);
    m_newRows = 0;
}
