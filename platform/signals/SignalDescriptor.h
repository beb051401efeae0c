#pragma once

#include <initializer_list>

/// A descriptor that counts arrivals of some signals (a number of 8 octets, eventfd(2)); reading it empties it.
/// A handler and not a blocked signal: the windowing system's threads are older than this object and would not
/// have it blocked, and programs that are started from here would inherit the block.
class SignalDescriptor
{
public:
    /// Throws Fault. Each signal belongs to one object at a time.
    explicit SignalDescriptor(std::initializer_list<int> numbers);
    ~SignalDescriptor();
    SignalDescriptor(const SignalDescriptor &) = delete;
    SignalDescriptor &operator=(const SignalDescriptor &) = delete;

    [[nodiscard]] int number() const { return m_descriptor; }
    /// Has any of them come since the last call?
    [[nodiscard]] bool take() const;

private:
    int m_descriptor;
};
