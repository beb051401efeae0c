#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

/// Ends the wait for a database that does not answer any more: shuts the connection's socket down when a
/// piece of work takes longer than allowed, so that the blocking call comes back with an error.
///
/// The program's only second thread, because nothing else can reach a thread that blocks inside a driver. It
/// touches nothing but the descriptors it was given, and those only during a watch.
class DeadlineGuard
{
public:
    DeadlineGuard() = default;
    ~DeadlineGuard();
    DeadlineGuard(const DeadlineGuard &) = delete;
    DeadlineGuard &operator=(const DeadlineGuard &) = delete;

    /// The sockets to shut down, on which the system is to notice by itself that the other end has gone while nothing
    /// is asked. The owner keeps them open during a watch.
    void setSockets(std::vector<int> sockets);
    /// True once the sockets have been shut down.
    [[nodiscard]] bool hasFired() const;
    /// True when the other end has closed one of the sockets. Not during a watch.
    [[nodiscard]] bool isClosed() const;

    /// The time limit of one piece of work, from construction to destruction. Watches do not overlap.
    class Watch
    {
    public:
        Watch(DeadlineGuard &guard, std::chrono::milliseconds limit) : m_guard(guard)
        {
            m_guard.start(limit);
        }
        ~Watch() { m_guard.stop(); }
        Watch(const Watch &) = delete;
        Watch &operator=(const Watch &) = delete;

    private:
        DeadlineGuard &m_guard;
    };

private:
    using Time = std::chrono::steady_clock::time_point;

    void start(std::chrono::milliseconds limit);
    void stop();
    void run();

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<int> m_sockets;
    Time m_deadline = Time::max(); // max: no watch
    Time m_wakes = Time::max();    // when the thread looks at the deadline by itself
    bool m_struck = false;
    bool m_ends = false;
    std::thread m_thread; // started by the first watch
};
