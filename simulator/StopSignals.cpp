#include "simulator/StopSignals.h"

#include <csignal>
#include <sys/signalfd.h>
#include <unistd.h>

namespace simulator
{
StopSignals::StopSignals()
{
    sigset_t wanted{};
    ::sigemptyset(&wanted);
    for (const int number : {SIGINT, SIGTERM, SIGHUP})
        ::sigaddset(&wanted, number);
    ::sigprocmask(SIG_BLOCK, &wanted, nullptr);
    m_descriptor = ::signalfd(-1, &wanted, SFD_NONBLOCK | SFD_CLOEXEC);
    auto *arrived = new QSocketNotifier(m_descriptor, QSocketNotifier::Read, this);
    connect(arrived, &QSocketNotifier::activated, this, [this] {
        signalfd_siginfo information{};
        while (::read(m_descriptor, &information, sizeof information) > 0) {
        }
        emit stopRequested();
    });
}

StopSignals::~StopSignals()
{
    ::close(m_descriptor);
}
} // namespace simulator
