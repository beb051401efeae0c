#include "app/RepeatedLines.h"

using namespace Qt::StringLiterals;

namespace
{

constexpr int timeLength = 19;
constexpr int hourLength = 13; // "YYYY-MM-DD HH"

} // namespace

QStringList RepeatedLines::next(const QString &line)
{
    QStringList written;
    if (line.first(qMin(hourLength, line.size())) != m_lastTime.first(qMin(hourLength, m_lastTime.size())))
        written = takeSums();
    m_lastTime = line.left(timeLength);
    if (++m_counts[line.mid(timeLength)] <= passing)
        written += line;
    return written;
}

QStringList RepeatedLines::takeSums()
{
    QStringList sums;
    for (auto count = m_counts.cbegin(); count != m_counts.cend(); ++count) {
        if (count.value() > passing)
            sums += m_lastTime + u" 又有 %1 次："_s.arg(count.value() - passing) + count.key().trimmed();
    }
    m_counts.clear();
    return sums;
}
