#include "platform/signals/StopSignal.h"

#include <QSocketNotifier>
#include <csignal>

StopSignal::StopSignal(QObject *parent) : QObject(parent), m_signal({SIGINT, SIGTERM})
{
    auto *notifier = new QSocketNotifier(m_signal.number(), QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, &StopSignal::wasReceived);
}

bool StopSignal::wasReceived()
{
    if (!m_received && m_signal.take()) {
        m_received = true;
        // Not from here: the caller may be in the middle of a pass.
        QMetaObject::invokeMethod(this, &StopSignal::received, Qt::QueuedConnection);
    }
    return m_received;
}
