#include "foundation/TaskGuard.h"

#include <QScopeGuard>

using namespace Qt::StringLiterals;

namespace
{

/// The timers of one tick fire within milliseconds of each other and never less than a second after the last.
constexpr qint64 sameTickMilliseconds = 500;

QString databaseTask()
{
    return u"数据库连接"_s;
}

} // namespace

void TaskGuard::run(const QString &task, const std::function<void()> &work)
{
    const auto sumUp = qScopeGuard([this] {
        m_faults.sumUpRows();
        for (const QString &table : m_session.Conn().takeReplacedTables())
            tellReplacedCharacters(table);
    });
    try {
        work();
        m_faults.over(task);
    } catch (const DatabaseFault &fault) {
        if (fault.kind() == DatabaseFault::Kind::Lost)
            databaseStruck(fault.message());
        else
            m_faults.failed(task, fault.message());
        if (fault.kind() != DatabaseFault::Kind::Refused)
            m_sinceUnavailable.start();
    } catch (const Fault &fault) {
        m_faults.failed(task, fault.message());
    } catch (const std::exception &error) {
        m_faults.failed(task, QString::fromUtf8(error.what()));
    }
}

void TaskGuard::tellReplacedCharacters(const QString &table)
{
    if (m_toldTables.contains(table, Qt::CaseInsensitive))
        return;
    m_toldTables += table;
    m_console.addLogLine(u"数据表 %1 的字符集存不下部分字符，已用“?”代替"_s.arg(table));
}

void TaskGuard::runPass(const QString &task, const std::function<void()> &pass)
{
    if (!m_console.stopRequested() && databaseReady())
        run(task, pass);
}

bool TaskGuard::databaseReady()
{
    if (m_sinceUnavailable.isValid() && m_sinceUnavailable.elapsed() < sameTickMilliseconds)
        return false;
    if (!m_session.Conn().isOpen() && !m_session.OpenDB()) {
        databaseStruck(m_session.openFailure());
        m_sinceUnavailable.start();
        return false;
    }
    m_sinceUnavailable.invalidate();
    m_faults.over(databaseTask());
    return true;
}

void TaskGuard::databaseStruck(const QString &cause)
{
    // One line for each loss: why reopening fails afterwards adds nothing.
    if (!m_faults.isFailing(databaseTask()))
        m_faults.failed(databaseTask(), cause);
}
