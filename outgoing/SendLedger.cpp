#include "outgoing/SendLedger.h"

#include "platform/files/Files.h"

#include <algorithm>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using std::chrono::milliseconds;

namespace
{

QByteArray lineWith(milliseconds wall)
{
    const QByteArray digits = QByteArray::number(qint64(wall.count()));
    return digits + ' ' + QByteArray::number(qChecksum(digits), 16).rightJustified(4, '0') + '\n';
}

std::optional<milliseconds> timeOf(const QByteArray &line)
{
    bool isNumber = false;
    const milliseconds time(line.left(line.indexOf(' ')).toLongLong(&isNumber));
    return isNumber && lineWith(time) == line + '\n' ? std::optional(time) : std::nullopt;
}

} // namespace

SendLedger::Found SendLedger::read()
{
    m_sent.clear();
    m_readAt = m_clock->steady();
    m_wallToSteady = wall() - m_readAt;
    const FileContent file = readWhole(m_fileName);
    if (file.error.isAbsence())
        return Found::Intact;
    require(file.error);
    QList<QByteArray> lines = file.octets.split('\n');
    const bool isTorn = !lines.takeLast().isEmpty();
    bool isDamaged = false;
    for (const QByteArray &line : std::as_const(lines)) {
        const auto time = timeOf(line);
        isDamaged |= !time;
        m_sent.push_back({time.value_or(0ms), 0ms, false});
    }
    if (isDamaged)
        m_sent.assign(static_cast<size_t>(m_kept), sentNow());
    placeEarlierRuns();
    if (isTorn && !isDamaged)
        m_sent.push_back(sentNow());
    replace();
    return isDamaged ? Found::Damaged : Found::Intact;
}

void SendLedger::add()
{
    noteClock();
    m_sent.push_back(sentNow());
    try {
        const QByteArray line = lineOf(m_sent.back());
        if (m_size >= m_kept * 2 * line.size())
            replace();
        else
            append(line);
    } catch (const Fault &) {
        m_sent.pop_back();
        throw;
    }
}

void SendLedger::noteClock()
{
    constexpr milliseconds slewed = 1s; // time servers do that much without setting it
    const milliseconds ahead = wall() - m_clock->steady();
    if (std::chrono::abs(ahead - m_wallToSteady) < slewed)
        return;
    m_wallToSteady = ahead;
    placeEarlierRuns();
    if (std::any_of(m_sent.cbegin(), m_sent.cend(), [](const Sent &sent) { return sent.isOfThisRun; }))
        replace();
}

std::optional<milliseconds> SendLedger::newest(qsizetype n) const
{
    const auto count = static_cast<qsizetype>(m_sent.size());
    return n < 1 || n > count ? std::nullopt : std::optional(m_sent[static_cast<size_t>(count - n)].steady);
}

SendLedger::Sent SendLedger::sentNow() const
{
    return {wall(), m_clock->steady()};
}

milliseconds SendLedger::wall() const
{
    return milliseconds(m_clock->now().toMSecsSinceEpoch());
}

/// By the wall clock as it is now or as it was then, whichever is later: one of them is wrong.
QByteArray SendLedger::lineOf(const Sent &sent) const
{
    return lineWith(sent.isOfThisRun ? std::max(sent.wall, sent.steady + m_wallToSteady) : sent.wall);
}

void SendLedger::placeEarlierRuns()
{
    for (Sent &sent : m_sent) {
        if (!sent.isOfThisRun)
            sent.steady = std::min(sent.wall - m_wallToSteady, m_readAt);
    }
    std::stable_sort(m_sent.begin(), m_sent.end(),
                     [](const Sent &one, const Sent &other) { return one.steady < other.steady; });
}

void SendLedger::append(const QByteArray &line)
{
    qint64 size = 0;
    require(appendSynced(m_fileName, line, &size));
    m_size += line.size();
    if (size != m_size) // another hand was at it
        replace();
}

/// The newest times alone, as a whole: a kill leaves the old file or the new one.
void SendLedger::replace()
{
    const auto surplus = static_cast<qsizetype>(m_sent.size()) - m_kept;
    if (surplus > 0)
        m_sent.erase(m_sent.begin(), m_sent.begin() + surplus);
    QByteArray lines;
    for (const Sent &sent : m_sent)
        lines += lineOf(sent);
    require(replaceSynced(m_fileName, lines));
    m_size = lines.size();
}

void SendLedger::require(const FileError &error) const
{
    if (error.isError())
        throw Fault(u"发送记录 %1 不能读写：%2"_s.arg(m_fileName, error.text()));
}
