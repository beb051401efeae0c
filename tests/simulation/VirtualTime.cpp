#include "tests/simulation/VirtualTime.h"

#include <QCoreApplication>
#include <QTimerEvent>
#include <ctime>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

using namespace std::chrono_literals;

namespace
{

bool isVirtual = false;

timespec timespecOf(std::chrono::nanoseconds time)
{
    return {static_cast<time_t>(time / 1s), static_cast<long>((time % 1s).count())};
}

} // namespace

VirtualTime &VirtualTime::instance()
{
    static auto *const time = [] {
        auto *made = new VirtualTime; // the application's from here on
        QCoreApplication::setEventDispatcher(made);
        isVirtual = true;
        return made;
    }();
    return *time;
}

void VirtualTime::restart(std::chrono::seconds wallClock)
{
    while (!m_timers.empty()) // single shots for a world that has gone
        fire(m_timers.begin());
    m_now = 0ns;
    m_wallClock = wallClock;
    m_started = 0;
}

bool VirtualTime::runUntil(Nanoseconds end, const std::function<bool()> &condition)
{
    bool holds = condition();
    while (!holds && runNext(end))
        holds = condition();
    if (!holds)
        m_now = qMax(m_now, end);
    return holds;
}

bool VirtualTime::block(Nanoseconds end, const std::function<bool()> &condition)
{
    m_blocked.append(m_domain);
    const bool holds = runUntil(end, condition);
    m_blocked.removeLast();
    return holds;
}

/// The next event that may run and is due until then; false when there is none.
bool VirtualTime::runNext(Nanoseconds end)
{
    {
        // Only the simulated modem posts; the servers' objects use timers.
        const As as(world);
        QCoreApplication::sendPostedEvents();
    }
    for (auto timer = m_timers.begin(); timer != m_timers.end() && timer->first.first <= end; ++timer) {
        if (!m_blocked.contains(timer->second.domain)) {
            fire(timer);
            return true;
        }
    }
    return false;
}

void VirtualTime::fire(std::map<Key, Timer>::iterator next)
{
    constexpr quint64 tooMany = 100'000;
    const Timer timer = next->second;
    if (next->first.first > m_now)
        m_firedNow = 0;
    else if (++m_firedNow > tooMany)
        qFatal("time stands still: a timer of %s is always due", timer.object->metaObject()->className());
    m_now = qMax(m_now, next->first.first);
    // Ticks that were missed are not made up.
    Nanoseconds due = next->first.first + timer.interval;
    if (due < m_now)
        due = m_now + timer.interval;
    m_timers.erase(next);
    const Key key{due, ++m_started};
    m_timers.emplace(key, timer);
    m_keys[timer.id] = key;
    const As as(timer.domain);
    QTimerEvent event(timer.id);
    QCoreApplication::sendEvent(timer.object, &event);
}

bool VirtualTime::processEvents(QEventLoop::ProcessEventsFlags)
{
    return runNext(m_now);
}

void VirtualTime::registerTimer(int id, qint64 milliseconds, Qt::TimerType type, QObject *object)
{
    const Nanoseconds interval = std::chrono::milliseconds(milliseconds);
    const Key key{m_now + interval, ++m_started};
    m_timers.emplace(key, Timer{id, interval, type, object, m_domain});
    m_keys.insert(id, key);
}

bool VirtualTime::unregisterTimer(int id)
{
    const auto key = m_keys.constFind(id);
    if (key == m_keys.cend())
        return false;
    m_timers.erase(*key);
    m_keys.erase(key);
    return true;
}

bool VirtualTime::unregisterTimers(QObject *object)
{
    bool any = false;
    for (const TimerInfo &timer : registeredTimers(object))
        any = unregisterTimer(timer.timerId) || any;
    return any;
}

QList<QAbstractEventDispatcher::TimerInfo> VirtualTime::registeredTimers(QObject *object) const
{
    QList<TimerInfo> timers;
    for (const auto &[key, timer] : m_timers) {
        if (timer.object == object)
            timers.append({timer.id, static_cast<int>(timer.interval / 1ms), timer.type});
    }
    return timers;
}

int VirtualTime::remainingTime(int id)
{
    const auto key = m_keys.constFind(id);
    return key == m_keys.cend() ? -1 : static_cast<int>(qMax(0ns, key->first - m_now) / 1ms);
}

// The process's clocks: these stand before the C library's, for every library that it loads.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): theirs are reserved
extern "C" {

int clock_gettime(clockid_t clock, timespec *time)
{
    if (!isVirtual || (clock != CLOCK_REALTIME && clock != CLOCK_MONOTONIC))
        return static_cast<int>(::syscall(SYS_clock_gettime, clock, time));
    const VirtualTime &now = VirtualTime::instance();
    *time = timespecOf(clock == CLOCK_REALTIME ? now.wallClock() : now.now());
    return 0;
}

int gettimeofday(timeval *time, void *)
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    *time = {now.tv_sec, now.tv_nsec / 1000};
    return 0;
}

time_t time(time_t *result)
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (result != nullptr)
        *result = now.tv_sec;
    return now.tv_sec;
}
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
