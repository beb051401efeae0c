#include "outgoing/SendLedger.h"

#include "platform/files/Files.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

QByteArray lineOf(qint64 time)
{
    const QByteArray digits = QByteArray::number(time);
    return digits + ' ' + QByteArray::number(qChecksum(digits), 16).rightJustified(4, '0') + '\n';
}

std::optional<qint64> timeOf(const QByteArray &line)
{
    bool isNumber = false;
    const qint64 time = line.left(line.indexOf(' ')).toLongLong(&isNumber);
    return isNumber && lineOf(time) == line + '\n' ? std::optional(time) : std::nullopt;
}

} // namespace

SendLedger::Found SendLedger::read(const QDateTime &now)
{
    m_times.clear();
    const FileContent file = readWhole(m_fileName);
    if (file.error.isAbsence())
        return Found::Intact;
    require(file.error);
    QList<QByteArray> lines = file.octets.split('\n');
    const QByteArray tail = lines.takeLast();
    bool isDamaged = false;
    for (const QByteArray &line : std::as_const(lines)) {
        const auto time = timeOf(line);
        isDamaged |= !time;
        m_times.push_back(time.value_or(0));
    }
    if (isDamaged)
        m_times.assign(static_cast<size_t>(m_kept), now.toMSecsSinceEpoch());
    else if (!tail.isEmpty())
        m_times.push_back(now.toMSecsSinceEpoch());
    std::sort(m_times.begin(), m_times.end());
    noteClock(now);
    replace();
    return isDamaged ? Found::Damaged : Found::Intact;
}

void SendLedger::add(const QDateTime &now)
{
    noteClock(now);
    const qint64 time = now.toMSecsSinceEpoch();
    m_times.push_back(time);
    try {
        const QByteArray line = lineOf(time);
        if (m_size >= m_kept * 2 * line.size())
            replace();
        else
            append(line);
    } catch (const Fault &) {
        m_times.pop_back();
        throw;
    }
}

void SendLedger::takeBackLast() noexcept
{
    if (m_times.empty())
        return;
    const qint64 taken = m_times.back();
    m_times.pop_back();
    try {
        replace();
    } catch (const Fault &) {
        m_times.push_back(taken);
    }
}

void SendLedger::noteClock(const QDateTime &now)
{
    const qint64 time = now.toMSecsSinceEpoch();
    for (qint64 &sent : m_times)
        sent = std::min(sent, time);
}

std::optional<QDateTime> SendLedger::newest(qsizetype n) const
{
    const auto count = static_cast<qsizetype>(m_times.size());
    if (n < 1 || n > count)
        return std::nullopt;
    return QDateTime::fromMSecsSinceEpoch(m_times[static_cast<size_t>(count - n)]);
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
    const auto surplus = static_cast<qsizetype>(m_times.size()) - m_kept;
    if (surplus > 0)
        m_times.erase(m_times.begin(), m_times.begin() + surplus);
    QByteArray lines;
    for (const qint64 time : m_times)
        lines += lineOf(time);
    require(replaceSynced(m_fileName, lines));
    m_size = lines.size();
}

void SendLedger::require(const FileError &error) const
{
    if (error.isError())
        throw Fault(u"发送记录 %1 不能读写：%2"_s.arg(m_fileName, error.text()));
}
