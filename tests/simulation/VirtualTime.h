#pragma once

#include <QAbstractEventDispatcher>
#include <QHash>
#include <QScopedValueRollback>
#include <chrono>
#include <functional>
#include <map>

/// Time as the simulation makes it: the event dispatcher of the process and the answer of its clocks. Nothing waits;
/// when all that is due now has run, the clock jumps to what is due next.
///
/// Timers belong to whoever runs when they are started: to the world, or to a server. While a server blocks (for the
/// modem's answer, for a lock of its database) its own events rest and all others go on.
class VirtualTime final : public QAbstractEventDispatcher
{
public:
    using Nanoseconds = std::chrono::nanoseconds;
    /// Whose events: a server's number, from 1 on.
    using Domain = int;
    static constexpr Domain world = 0;

    /// The process's one; made on the first call, which has to come before the application's constructor.
    static VirtualTime &instance();

    /// Begins anew with this wall clock (UTC, seconds since 1970), when whoever had timers has gone.
    void restart(std::chrono::seconds wallClock);
    /// Since restart(); the steady clock.
    [[nodiscard]] Nanoseconds now() const { return m_now; }
    [[nodiscard]] Nanoseconds wallClock() const { return m_wallClock + m_now; }
    /// Somebody sets the wall clock.
    void moveWallClock(Nanoseconds by) { m_wallClock += by; }

    /// Runs everything that is due until then, or until the condition holds after an event. True when it holds.
    bool runUntil(Nanoseconds end, const std::function<bool()> &condition);
    /// The server that runs blocks: the others go on until the condition holds or the time has come. True when it
    /// holds.
    bool block(Nanoseconds end, const std::function<bool()> &condition);

    /// Runs as somebody else: timers that start meanwhile are his.
    class As : QScopedValueRollback<Domain>
    {
    public:
        explicit As(Domain domain) : QScopedValueRollback(instance().m_domain, domain) {}
    };
    [[nodiscard]] Domain domain() const { return m_domain; }

    bool processEvents(QEventLoop::ProcessEventsFlags flags) override;
    void registerSocketNotifier(QSocketNotifier *) override {}
    void unregisterSocketNotifier(QSocketNotifier *) override {}
    void registerTimer(int id, qint64 milliseconds, Qt::TimerType type, QObject *object) override;
    bool unregisterTimer(int id) override;
    bool unregisterTimers(QObject *object) override;
    [[nodiscard]] QList<TimerInfo> registeredTimers(QObject *object) const override;
    int remainingTime(int id) override;
    void wakeUp() override {}
    void interrupt() override {}

private:
    struct Timer {
        int id = 0;
        Nanoseconds interval{0};
        Qt::TimerType type = Qt::PreciseTimer;
        QObject *object = nullptr;
        Domain domain = world;
    };
    /// By the time at which it is due, then in the order of starting.
    using Key = std::pair<Nanoseconds, quint64>;

    bool runNext(Nanoseconds end);
    void fire(std::map<Key, Timer>::iterator next);

    Nanoseconds m_now{0};
    Nanoseconds m_wallClock{0};
    Domain m_domain = world;
    QList<Domain> m_blocked;
    std::map<Key, Timer> m_timers;
    QHash<int, Key> m_keys; // by timer id
    quint64 m_started = 0;
    quint64 m_firedNow = 0; // since the clock last moved
};
