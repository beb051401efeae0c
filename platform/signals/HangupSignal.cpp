#include "platform/signals/HangupSignal.h"

#include <QSocketNotifier>
#include <csignal>

HangupSignal::HangupSignal(QObject *parent) : QObject(parent), m_signal({SIGHUP})
{
    auto *notifier = new QSocketNotifier(m_signal.number(), QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [this] {
        if (m_signal.take())
            emit received();
    });
}
