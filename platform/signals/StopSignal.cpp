#include "platform/signals/StopSignal.h"

#include "platform/fault/Fault.h"

#include <QSocketNotifier>
#include <array>
#include <cerrno>
#include <csignal>
#include <sys/eventfd.h>
#include <unistd.h>
#include <utility>

using namespace Qt::StringLiterals;

// A handler and not a blocked signal: the windowing system's threads are older than this object and would not
// have it blocked, and programs that are started from here would inherit the block.

namespace
{

constexpr std::array stopSignals{SIGINT, SIGTERM};

int descriptor = -1; // a signal handler sees nothing else

void note(int)
{
    const int before = errno;
    const quint64 one = 1;
    static_cast<void>(!::write(descriptor, &one, sizeof one));
    errno = before;
}

void handle(void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    for (const int signal : stopSignals)
        sigaction(signal, &action, nullptr);
}

} // namespace

StopSignal::StopSignal(QObject *parent) : QObject(parent)
{
    Q_ASSERT(descriptor < 0);
    descriptor = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (descriptor < 0)
        throw Fault(u"无法接收结束信号"_s);
    handle(note);
    auto *notifier = new QSocketNotifier(descriptor, QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, &StopSignal::wasReceived);
}

StopSignal::~StopSignal()
{
    handle(SIG_DFL);
    ::close(std::exchange(descriptor, -1));
}

bool StopSignal::wasReceived()
{
    quint64 signalCount = 0;
    if (!m_received && ::read(descriptor, &signalCount, sizeof signalCount) == sizeof signalCount) {
        m_received = true;
        // Not from here: the caller may be in the middle of a pass.
        QMetaObject::invokeMethod(this, &StopSignal::received, Qt::QueuedConnection);
    }
    return m_received;
}
