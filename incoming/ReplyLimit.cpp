#include "incoming/ReplyLimit.h"

#include <limits>

using namespace std::chrono_literals;

int ReplyLimit::left(const QString &number)
{
    if (m_most <= 0)
        return std::numeric_limits<int>::max();
    const auto now = m_clock.steady();
    for (auto sent = m_sent.begin(); sent != m_sent.end();) {
        sent->removeIf([&](std::chrono::milliseconds time) { return now - time > 1h; });
        sent = sent->isEmpty() ? m_sent.erase(sent) : std::next(sent);
    }
    return static_cast<int>(qMax<qsizetype>(0, m_most - m_sent.value(number).size()));
}

void ReplyLimit::count(const QString &number, int confirmations)
{
    if (m_most > 0)
        m_sent[number] += QList<std::chrono::milliseconds>(confirmations, m_clock.steady());
}
