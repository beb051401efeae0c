#include "platform/signals/SignalDescriptor.h"

#include "platform/fault/Fault.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <sys/eventfd.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

// A signal handler sees nothing else: by signal number, the descriptor plus 1; 0 where nobody listens.
std::array<std::atomic<int>, NSIG> listeners;

void note(int signal)
{
    const int before = errno;
    const quint64 one = 1;
    static_cast<void>(!::write(listeners[size_t(signal)] - 1, &one, sizeof one));
    errno = before;
}

void handle(int signal, void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigaction(signal, &action, nullptr);
}

} // namespace

SignalDescriptor::SignalDescriptor(std::initializer_list<int> numbers)
    : m_descriptor(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC))
{
    if (m_descriptor < 0)
        throw Fault(u"无法接收系统信号"_s);
    for (const int signal : numbers) {
        Q_ASSERT(listeners[size_t(signal)] == 0);
        listeners[size_t(signal)] = m_descriptor + 1;
        handle(signal, note);
    }
}

SignalDescriptor::~SignalDescriptor()
{
    for (int signal = 1; signal < NSIG; ++signal) {
        if (listeners[size_t(signal)] == m_descriptor + 1) {
            handle(signal, SIG_DFL);
            listeners[size_t(signal)] = 0;
        }
    }
    ::close(m_descriptor);
}

bool SignalDescriptor::take() const
{
    quint64 count = 0;
    return ::read(m_descriptor, &count, sizeof count) == sizeof count;
}
