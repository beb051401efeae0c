#pragma once

#include <QByteArray>
#include <QObject>
#include <QTimer>
#include <chrono>

namespace simulator
{
/// Lets octets through at the speed of a serial line: one start, eight data and one stop bit each.
class LinePacer : public QObject
{
    Q_OBJECT

public:
    LinePacer();

    /// 0 lets everything through at once.
    void setBaud(int baud);
    void push(const QByteArray &octets);
    void clear();

signals:
    void released(const QByteArray &octets);

private:
    void release();

    int m_baud = 0;
    QByteArray m_queue;
    std::chrono::steady_clock::time_point m_lineFreeAt; ///< when the first queued octet's start bit begins
    QTimer m_timer;
};
} // namespace simulator
