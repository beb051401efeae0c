#include "platform/signals/StopSignal.h"

#include "platform/fault/Fault.h"

#include <QSocketNotifier>
#include <csignal>
#include <sys/signalfd.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

StopSignal::StopSignal(QObject *parent) : QObject(parent)
{
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    if (sigprocmask(SIG_BLOCK, &stopSignals, nullptr) == 0)
        m_descriptor = signalfd(-1, &stopSignals, SFD_NONBLOCK | SFD_CLOEXEC);
    if (m_descriptor < 0)
        throw Fault(u"无法接收结束信号"_s);
    auto *notifier = new QSocketNotifier(m_descriptor, QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, &StopSignal::wasReceived);
}

StopSignal::~StopSignal()
{
    ::close(m_descriptor);
}

bool StopSignal::wasReceived()
{
    signalfd_siginfo info{};
    if (!m_received && ::read(m_descriptor, &info, sizeof info) == sizeof info) {
        m_received = true;
        // Not from here: the caller may be in the middle of a pass.
        QMetaObject::invokeMethod(this, &StopSignal::received, Qt::QueuedConnection);
    }
    return m_received;
}
