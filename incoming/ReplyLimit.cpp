#include "incoming/ReplyLimit.h"

#include "foundation/Settings.h"

#include <limits>

namespace
{

constexpr qint64 hourSeconds = 3600;

} // namespace

int ReplyLimit::left(const QString &number)
{
    m_most = m_registry.read(Settings::localPath(QLatin1String("RepliesPerHour"))).trimmed().toInt();
    if (m_most <= 0) {
        m_sent.clear();
        return std::numeric_limits<int>::max();
    }
    const QDateTime now = m_clock.now();
    for (auto sent = m_sent.begin(); sent != m_sent.end();) {
        // One in the future is of a clock that was set back.
        sent->removeIf([&](const QDateTime &time) { return qAbs(time.secsTo(now)) > hourSeconds; });
        sent = sent->isEmpty() ? m_sent.erase(sent) : std::next(sent);
    }
    return static_cast<int>(qMax<qsizetype>(0, m_most - m_sent.value(number).size()));
}

void ReplyLimit::count(const QString &number, int confirmations)
{
    if (m_most <= 0)
        return;
    for (int i = 0; i < confirmations; ++i)
        m_sent[number] += m_clock.now();
}
