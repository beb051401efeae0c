#pragma once

#include <QObject>

/// SIGINT and SIGTERM as a wish to end: received() comes from the event loop, and wasReceived() tells at any
/// time, also in the middle of a pass that keeps the event loop waiting. Make it before any thread is
/// started: the two signals are blocked from then on.
class StopSignal final : public QObject
{
    Q_OBJECT
public:
    explicit StopSignal(QObject *parent = nullptr);
    ~StopSignal() override;

    [[nodiscard]] bool wasReceived();

signals:
    void received();

private:
    int m_descriptor = -1;
    bool m_received = false;
};
