#pragma once

#include <functional>
#include <memory>
#include <ucontext.h>

/// A function with a stack of its own that can pause in the middle of any call. So many sessions are under way on one
/// thread, each of them written as if it were alone.
///
/// Rejected: threads, whose database session would have to be shared under locks, and a state machine, which would take
/// every exchange with a server apart.
class Fiber
{
public:
    /// body: must not throw, and must not pause while it handles an exception. It begins with the first resume().
    explicit Fiber(std::function<void()> body);
    /// It has ended, or never began: what is on its stack is not destroyed.
    ~Fiber();
    Fiber(const Fiber &) = delete;
    Fiber &operator=(const Fiber &) = delete;

    /// Runs it until it pauses or ends; not to be called from within a fiber.
    void resume();
    [[nodiscard]] bool hasEnded() const { return m_hasEnded; }

    /// The one that runs, or null.
    [[nodiscard]] static Fiber *current();
    /// Back to whoever resumed the one that runs.
    static void pause();

private:
    static void enter();
    void cross(ucontext_t &from, const ucontext_t &to);

    std::function<void()> m_body;
    bool m_hasEnded = false;
    void *m_stack = nullptr;
    ucontext_t m_inside{};
    ucontext_t m_outside{};
    [[maybe_unused]] const void *m_outsideStack = nullptr; // for the address sanitizer, which has to know
    [[maybe_unused]] size_t m_outsideOctets = 0;
};
