#pragma once

#include "platform/signals/SignalDescriptor.h"

#include <QObject>

/// SIGHUP as a wish to open files anew: received() comes from the event loop, and the signal does nothing else.
/// One at a time. Throws Fault when it cannot be set up.
class HangupSignal final : public QObject
{
    Q_OBJECT
public:
    explicit HangupSignal(QObject *parent = nullptr);

signals:
    void received();

private:
    SignalDescriptor m_signal;
};
