#include "foundation/FaultLog.h"

using namespace Qt::StringLiterals;

void FaultLog::struck(const QString &task, const QString &cause)
{
    if (const auto standing = m_standing.constFind(task); standing != m_standing.cend() && *standing == cause)
        return;
    m_standing[task] = cause;
    m_console.addLogLine(task + u"失败："_s + cause);
}

void FaultLog::over(const QString &task)
{
    if (m_standing.remove(task) > 0)
        m_console.addLogLine(task + u"恢复正常"_s);
}

void FaultLog::rowSetAside(const QString &row, const QString &cause)
{
    if (m_rowsSetAside.contains(row))
        return;
    m_rowsSetAside.insert(row);
    m_console.addLogLine(u"记录 "_s + row + u" 无法处理："_s + cause);
}
