#include "outgoing/TriedRows.h"

using namespace std::chrono_literals;

namespace
{

constexpr int maximumTries = 3;

/// While nothing is accepted, a row's tries count only this far apart: an outage that only one row or two can meet
/// lasts that long as a rule.
constexpr auto apart = 2min;

/// From one try to the next in an outage, and of a row whose tries do not count: its text goes over each time, and a
/// network that says that it did not take it may have delivered it.
constexpr auto vainPause = 1min;

} // namespace

std::optional<std::chrono::milliseconds> TriedRows::lastTry(qint64 id) const
{
    const auto row = m_rows.constFind(id);
    return row == m_rows.cend() ? std::nullopt : std::optional(row->last);
}

bool TriedRows::mayTry(qint64 id) const
{
    const auto row = m_rows.constFind(id);
    if (row == m_rows.cend())
        return true;
    const auto now = m_clock.steady();
    const bool wasVain = row->counted != row->last && row->acceptedBefore == m_accepted;
    return (!isOutage() || now - m_lastRefusal >= vainPause) && (!wasVain || now - row->last >= vainPause);
}

void TriedRows::noteAccepted()
{
    ++m_accepted;
    m_refused.clear();
}

bool TriedRows::noteTry(qint64 id, const QString &number, ModemFault::Kind kind)
{
    const auto now = m_clock.steady();
    const bool isFirst = !m_rows.contains(id);
    Tries &tries = m_rows[id];
    tries.last = now;
    if (isFirst)
        tries.acceptedBefore = m_accepted;
    const bool isRefusal = kind == ModemFault::Kind::NotTaken;
    if (isRefusal) {
        m_refused.insert(number);
        m_lastRefusal = now;
    }
    const bool othersPass = m_accepted != tries.acceptedBefore;
    if (!isRefusal || (!isOutage() && (isFirst || othersPass || now - tries.counted >= apart))) {
        ++tries.count;
        tries.counted = now;
    }
    return tries.count >= maximumTries;
}
