#include "foundation/TaskGuard.h"

#include <QScopeGuard>
#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

/// The timers of one tick fire within milliseconds of each other and never less than a second after the last.
constexpr qint64 sameTickMilliseconds = 500;

QString databaseTask()
{
    return u"数据库连接"_s;
}

QString settingsTask()
{
    return u"读取参数"_s;
}

} // namespace

void TaskGuard::run(const QString &task, const std::function<void()> &work)
{
    attempt(task, [&work] {
        work();
        return false;
    });
}

bool TaskGuard::attempt(const QString &task, const std::function<bool()> &turn)
{
    const auto sumUp = qScopeGuard([this] {
        m_faults.sumUpRows();
        for (const QString &table : m_session.Conn().takeReplacedTables())
            tellReplacedCharacters(table);
    });
    try {
        if (turn())
            return true;
        m_held.remove(task);
        m_faults.over(task);
    } catch (const DatabaseFault &fault) {
        if (fault.kind() == DatabaseFault::Kind::Lost)
            databaseStruck(fault.message());
        else
            m_faults.failed(task, fault.message());
        if (fault.kind() == DatabaseFault::Kind::Locked)
            hold(task);
        else if (fault.kind() != DatabaseFault::Kind::Refused)
            m_sinceUnavailable.start();
    } catch (const Fault &fault) {
        m_faults.failed(task, fault.message());
    } catch (const std::exception &error) {
        m_faults.failed(task, QString::fromUtf8(error.what()));
    }
    return false;
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
    static_cast<void>(runTurn(task, [&pass] {
        pass();
        return false;
    }));
}

bool TaskGuard::runTurn(const QString &task, const std::function<bool()> &turn)
{
    if (m_console.stopRequested() || isHeld(task) || !databaseReady())
        return false;
    return attempt(task, [&] {
        m_session.Conn().renewPatience();
        return turn();
    });
}

bool TaskGuard::isHeld(const QString &task) const
{
    const auto held = m_held.constFind(task);
    return held != m_held.cend() && held->since.elapsed() < std::chrono::milliseconds(held->wait).count();
}

void TaskGuard::hold(const QString &task)
{
    constexpr std::chrono::seconds shortest{1};
    constexpr std::chrono::seconds longest{15};
    Held &held = m_held[task];
    held.wait = std::clamp(held.wait * 2, shortest, longest);
    held.since.start();
}

bool TaskGuard::databaseReady()
{
    if (m_sinceUnavailable.isValid() && m_sinceUnavailable.elapsed() < sameTickMilliseconds)
        return false;
    if (!m_session.Conn().isOpen() && !reopen())
        return false;
    m_sinceUnavailable.invalidate();
    m_faults.over(databaseTask());
    return true;
}

bool TaskGuard::reopen()
{
    const bool isOpen = m_session.OpenDB();
    if (m_session.readFailure().isEmpty())
        m_faults.over(settingsTask());
    else
        m_faults.failed(settingsTask(), m_session.readFailure());
    if (!isOpen) {
        databaseStruck(m_session.openFailure());
        m_sinceUnavailable.start();
    }
    return isOpen;
}

void TaskGuard::databaseStruck(const QString &cause)
{
    // One line for each loss: why reopening fails afterwards adds nothing.
    if (!m_faults.isFailing(databaseTask()))
        m_faults.failed(databaseTask(), cause);
}
