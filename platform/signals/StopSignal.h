#pragma once

#include "platform/signals/SignalDescriptor.h"

#include <QObject>

/// SIGINT and SIGTERM as a wish to end: received() comes from the event loop, and wasReceived() tells at any
/// time, also in the middle of a pass that keeps the event loop waiting. One at a time; without it the two
/// signals end the program at once. Throws Fault when it cannot be set up.
class StopSignal final : public QObject
{
    Q_OBJECT
public:
    explicit StopSignal(QObject *parent = nullptr);

    [[nodiscard]] bool wasReceived();

signals:
    void received();

private:
    SignalDescriptor m_signal;
    bool m_received = false;
};
