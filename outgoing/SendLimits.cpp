#include "outgoing/SendLimits.h"

#include "modem/tpdu/SmsSubmit.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using std::chrono::milliseconds;

namespace
{

/// Any text up to here is one SMS, in every alphabet.
constexpr qsizetype surelyOne = 70;

/// The end of the wait for room in a window that holds `limit` SMS, for `parts` more.
std::optional<milliseconds> roomAt(const SendLedger &ledger, qsizetype limit, milliseconds window,
                                   qsizetype parts, milliseconds now)
{
    if (limit == 0)
        return std::nullopt;
    const auto sent = ledger.newest(parts > limit ? 1 : limit - parts + 1);
    // A whole window later the old one is out of it.
    return sent && *sent + window >= now ? std::optional(*sent + window + 1ms) : std::nullopt;
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

void SendLimits::beginPass()
{
    if (m_values == Values())
        return;
    if (m_ledger) {
        m_ledger->noteClock();
        return;
    }
    SendLedger ledger(m_clock, m_ledgerFile, qMax<qsizetype>(1, qMax(m_values.perHour, m_values.perDay)));
    if (ledger.read() == SendLedger::Found::Damaged)
        m_console.addLogLine(u"发送记录 %1 已损坏，重新开始，并按发送上限已用完计算"_s.arg(m_ledgerFile));
    m_ledger = std::move(ledger);
}

bool SendLimits::presses(qint64 waiting) const
{
    if (!m_ledger)
        return false;
    const auto isTight = [&](qsizetype limit, milliseconds window) {
        return limit > 0 && (waiting > limit || roomAt(*m_ledger, limit, window, waiting, m_clock.steady()));
    };
    return isTight(m_values.perHour, 1h) || isTight(m_values.perDay, 24h);
}

std::optional<milliseconds> SendLimits::gapEnd() const
{
    const auto last = m_ledger ? m_ledger->newest(1) : std::nullopt;
    if (!last || m_values.gap == 0s || *last + m_values.gap <= m_clock.steady())
        return std::nullopt;
    return *last + m_values.gap;
}

std::optional<milliseconds> SendLimits::restsUntil(qsizetype parts) const
{
    if (!m_ledger)
        return std::nullopt;
    const milliseconds now = m_clock.steady();
    // Nothing is less than any end.
    return std::max({gapEnd(), roomAt(*m_ledger, m_values.perHour, 1h, parts, now),
                     roomAt(*m_ledger, m_values.perDay, 24h, parts, now)});
}

void SendLimits::rest(milliseconds until, qint64 waiting)
{
    if (gapEnd() == until)
        return;
    const milliseconds now = m_clock.steady();
    const QDateTime end = m_clock.now().addMSecs((until - now).count());
    // Room comes back message by message; each is no news.
    const bool isNews = !m_rest || !m_toldAt || now - *m_toldAt >= 1h;
    m_rest = Rest{m_rest ? m_rest->since : m_clock.now(), end};
    if (!isNews || m_isHeld)
        return;
    m_isHeld = true;
    m_toldAt = now;
    m_console.addLogLine(
        u"已达发送上限，暂停发送到 %1，等待发送 %2 条"_s.arg(end.toString(u"yyyy-MM-dd HH:mm:ss"_s))
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
    const auto end = gapEnd();
    if (!end || restsUntil(1) != end)
        return std::nullopt;
    return std::max(1ms, *end - m_clock.steady());
}
