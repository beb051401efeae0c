#pragma once

#include <QObject>
#include <QSocketNotifier>

namespace simulator
{
/// Turns SIGINT, SIGTERM and SIGHUP into a Qt signal of the event loop. One instance in a program.
class StopSignals : public QObject
{
    Q_OBJECT

public:
    StopSignals();
    ~StopSignals() override;
    StopSignals(const StopSignals &) = delete;
    StopSignals &operator=(const StopSignals &) = delete;

signals:
    void stopRequested();

private:
    int m_descriptor = -1;
};
} // namespace simulator
