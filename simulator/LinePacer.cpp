#include "simulator/LinePacer.h"

#include <chrono>

namespace simulator
{
namespace
{
constexpr qint64 bitsPerOctet = 10;
constexpr qint64 nanosecondsPerSecond = 1'000'000'000;
constexpr qint64 nanosecondsPerMillisecond = 1'000'000;
/// A reader sees a long answer trickle in steps of about this length.
constexpr qint64 stepLength = 5 * nanosecondsPerMillisecond;

qint64 steadyNow()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}
} // namespace

LinePacer::LinePacer()
{
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &LinePacer::release);
}

void LinePacer::setBaud(int baud)
{
    m_baud = baud;
    if (!m_queue.isEmpty())
        release();
}

void LinePacer::push(const QByteArray &octets)
{
    if (octets.isEmpty())
        return;
    if (m_baud == 0 && m_queue.isEmpty()) {
        emit released(octets);
        return;
    }
    if (m_queue.isEmpty())
        m_lineFreeAt = qMax(m_lineFreeAt, steadyNow());
    m_queue += octets;
    if (!m_timer.isActive())
        release();
}

void LinePacer::clear()
{
    m_queue.clear();
    m_timer.stop();
}

void LinePacer::release()
{
    if (m_baud == 0) {
        m_timer.stop();
        emit released(std::exchange(m_queue, {}));
        return;
    }
    const qint64 octetTime = bitsPerOctet * nanosecondsPerSecond / m_baud;
    const qint64 through = qMin<qint64>(m_queue.size(), (steadyNow() - m_lineFreeAt) / octetTime);
    if (through > 0) {
        m_lineFreeAt += through * octetTime;
        const QByteArray octets = m_queue.first(through);
        m_queue.remove(0, through);
        emit released(octets);
    }
    if (m_queue.isEmpty())
        return;
    const qint64 step = qMax(octetTime, qMin(stepLength, m_queue.size() * octetTime));
    const qint64 wait = m_lineFreeAt + step - steadyNow();
    m_timer.start(
        static_cast<int>(qMax<qint64>(0, wait + nanosecondsPerMillisecond - 1) / nanosecondsPerMillisecond));
}
} // namespace simulator
