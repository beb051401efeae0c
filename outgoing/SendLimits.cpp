#include "outgoing/SendLimits.h"

#include "modem/tpdu/SmsSubmit.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using std::chrono::milliseconds;

namespace
{

/// Any text up to here is one SMS, in every alphabet.
constexpr qsizetype surelyOne = 70;

using Hold = SendLimits::Hold;

/// The wait for room in a window that holds `limit` SMS, for `parts` more.
std::optional<Hold> untilRoom(const SendLedger &ledger, milliseconds window, qsizetype limit, qsizetype parts,
                              milliseconds now)
{
    if (limit == 0)
        return std::nullopt;
    const auto sent = ledger.newest(parts > limit ? 1 : limit - parts + 1);
    // A whole window later the old one is out of it.
    return sent && *sent + window >= now ? std::optional(Hold{*sent + window + 1ms, window}) : std::nullopt;
}

} // namespace

qsizetype smsCount(const QString &text)
{
    return text.size() <= surelyOne ? 1 : std::max<qsizetype>(1, encodeSubmits(u"1"_s, text, 0).size());
}

void SendLimits::set(const Values &values)
{
    if (m_ledgerFile.isEmpty() || values == m_values)
        return;
    m_values = values;
    m_ledger.reset();
    m_rest.reset();
}

SendLedger SendLimits::newLedger() const
{
    return {m_clock, m_ledgerFile, qMax<qsizetype>(1, qMax(m_values.perHour, m_values.perDay))};
}

void SendLimits::beginPass()
{
    if (m_values == Values())
        return;
    if (m_ledger) {
        m_ledger->noteClock();
        return;
    }
    SendLedger ledger = newLedger();
    if (ledger.read() == SendLedger::Found::Damaged)
        m_console.addLogLine(u"发送记录 %1 已损坏，重新开始，并按发送上限已用完计算"_s.arg(m_ledgerFile));
    m_ledger = std::move(ledger);
}

SendLedger::Found SendLimits::look()
{
    if (m_values == Values())
        return SendLedger::Found::Intact;
    m_ledger = newLedger();
    return m_ledger->look();
}

bool SendLimits::presses(qint64 waiting) const
{
    if (!m_ledger)
        return false;
    const auto isTight = [&](milliseconds window, qsizetype limit) {
        return limit > 0 &&
               (waiting > limit || untilRoom(*m_ledger, window, limit, waiting, m_clock.steady()));
    };
    return isTight(1h, m_values.perHour) || isTight(24h, m_values.perDay);
}

std::optional<Hold> SendLimits::hold(qsizetype parts) const
{
    if (!m_ledger)
        return std::nullopt;
    const milliseconds now = m_clock.steady();
    std::optional<Hold> gap;
    if (const auto last = m_ledger->newest(1); last && *last + m_values.gap > now)
        gap = {*last + m_values.gap, 0ms};
    // Nothing is less than any end.
    return std::max({gap, untilRoom(*m_ledger, 1h, m_values.perHour, parts, now),
                     untilRoom(*m_ledger, 24h, m_values.perDay, parts, now)});
}

SendLimits::Rest SendLimits::restOf(const Hold &hold) const
{
    const QString limit = hold.window == 24h ? u"SendPerDay=%1"_s.arg(m_values.perDay)
                                             : u"SendPerHour=%1"_s.arg(m_values.perHour);
    const QDateTime now = m_clock.now();
    return {m_rest ? m_rest->since : now, now.addMSecs((hold.until - m_clock.steady()).count()), limit};
}

void SendLimits::rest(const Hold &hold, qint64 waiting)
{
    if (hold.window == 0ms)
        return;
    const milliseconds now = m_clock.steady();
    // Room comes back message by message; each is no news.
    const bool isNews = !m_rest || !m_toldAt || now - *m_toldAt >= 1h;
    m_rest = restOf(hold);
    if (!isNews || m_isHeld)
        return;
    m_isHeld = true;
    m_toldAt = now;
    m_console.addLogLine(
        u"已达发送上限，暂停发送到 %1，等待发送 %2 条"_s.arg(m_rest->until.toString(u"yyyy-MM-dd HH:mm:ss"_s))
            .arg(waiting));
}

void SendLimits::count()
{
    if (!m_ledger)
        return;
    m_ledger->add();
    if (std::exchange(m_isHeld, false))
        m_console.addLogLine(u"发送上限已有余量，继续发送"_s);
}

std::optional<milliseconds> SendLimits::gapLeft() const
{
    const auto held = hold(1);
    return held && held->window == 0ms ? std::optional(std::max(1ms, held->until - m_clock.steady()))
                                       : std::nullopt;
}
