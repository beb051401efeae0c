#include "outgoing/SendLedger.h"

#include "platform/files/Files.h"

#include <algorithm>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using std::chrono::milliseconds;

namespace
{

QByteArray lineWith(const QByteArray &words)
{
    return words + ' ' + QByteArray::number(qChecksum(words), 16).rightJustified(4, '0') + '\n';
}

QByteArray lineWith(milliseconds time)
{
    return lineWith(QByteArray::number(qint64(time.count())));
}

/// What a line says that begins so; nothing when it does not, or was damaged.
std::optional<milliseconds> timeOf(const QByteArray &line, const QByteArray &beginning = {})
{
    const QByteArray words = line.left(line.lastIndexOf(' '));
    bool isNumber = false;
    const milliseconds time(words.mid(beginning.size()).toLongLong(&isNumber));
    return isNumber && words.startsWith(beginning) && lineWith(words) == line + '\n' ? std::optional(time)
                                                                                     : std::nullopt;
}

} // namespace

SendLedger::Found SendLedger::read()
{
    const Found found = look();
    if (!m_sent.empty())
        replace();
    return found;
}

SendLedger::Found SendLedger::look()
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
    bool isDamaged = file.octets.isEmpty(); // another hand's work
    std::optional<milliseconds> wallToSteady;
    if (!lines.isEmpty() && lines.first().count(' ') > 1) {
        const auto lead = timeOf(lines.takeFirst(), m_clock->epoch() + ' ');
        wallToSteady = m_clock->epoch().isEmpty() ? std::nullopt : lead;
    }
    for (const QByteArray &line : std::as_const(lines)) {
        const auto time = timeOf(line);
        isDamaged |= !time;
        const milliseconds wall = time.value_or(0ms);
        m_sent.push_back(
            {wall, std::min(wall - wallToSteady.value_or(0ms), m_readAt), wallToSteady.has_value()});
    }
    if (isDamaged)
        m_sent.assign(static_cast<size_t>(m_kept), sentNow());
    placeUnsure();
    if (isTorn && !isDamaged)
        m_sent.push_back(sentNow());
    return isDamaged ? Found::Damaged : Found::Intact;
}

void SendLedger::add()
{
    noteClock();
    m_sent.push_back(sentNow());
    try {
        const QByteArray line = lineOf(m_sent.back());
        if (m_size == 0 || m_size >= m_kept * 2 * line.size())
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
    placeUnsure();
    if (!m_sent.empty())
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
    return lineWith(sent.isSure ? std::max(sent.wall, sent.steady + m_wallToSteady) : sent.wall);
}

QByteArray SendLedger::firstLine() const
{
    return lineWith(m_clock->epoch() + ' ' + QByteArray::number(qint64(m_wallToSteady.count())));
}

void SendLedger::placeUnsure()
{
    for (Sent &sent : m_sent) {
        if (!sent.isSure)
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
    QByteArray lines = firstLine();
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
