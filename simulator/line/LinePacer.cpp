#include "simulator/line/LinePacer.h"

#include <algorithm>
#include <utility>

using namespace std::chrono_literals;
using std::chrono::steady_clock;

namespace simulator
{
namespace
{
constexpr int bitsPerOctet = 10;
/// A reader sees a long answer trickle in steps of about this length.
constexpr std::chrono::nanoseconds stepLength = 5ms;
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
        m_lineFreeAt = std::max(m_lineFreeAt, steady_clock::now());
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
    const std::chrono::nanoseconds octetTime = bitsPerOctet * std::chrono::nanoseconds(1s) / m_baud;
    const qint64 through = std::min<qint64>(m_queue.size(), (steady_clock::now() - m_lineFreeAt) / octetTime);
    if (through > 0) {
        m_lineFreeAt += through * octetTime;
        const QByteArray octets = m_queue.first(through);
        m_queue.remove(0, through);
        emit released(octets);
    }
    if (m_queue.isEmpty())
        return;
    const std::chrono::nanoseconds all = m_queue.size() * octetTime;
    const auto step = std::clamp(stepLength, octetTime, all);
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(m_lineFreeAt + step - steady_clock::now());
    m_timer.start(std::max(0ms, wait));
}
} // namespace simulator
