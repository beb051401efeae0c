#include "outgoing/SendLimits.h"

#include "foundation/Settings.h"
#include "modem/tpdu/SmsSubmit.h"

using namespace Qt::StringLiterals;

namespace
{

constexpr std::chrono::seconds hour = std::chrono::hours(1);
constexpr std::chrono::seconds day = std::chrono::hours(24);
/// Any text up to here is one SMS, in every alphabet.
constexpr qsizetype surelyOne = 70;

/// The end of the wait for room in a window that holds `limit` SMS, for `parts` more.
std::optional<QDateTime> roomAt(const SendLedger &ledger, qsizetype limit, std::chrono::seconds window,
                                qsizetype parts, const QDateTime &now)
{
    if (limit == 0)
        return std::nullopt;
    const auto sent = ledger.newest(parts > limit ? 1 : limit - parts + 1);
    if (!sent)
        return std::nullopt;
    // A whole window later the old one is out of it.
    const QDateTime free = sent->addSecs(window.count()).addMSecs(1);
    return free > now ? std::optional(free) : std::nullopt;
}

} // namespace

qsizetype smsCount(const QString &text)
{
    return text.size() <= surelyOne ? 1 : std::max<qsizetype>(1, encodeSubmits(u"1"_s, text, 0).size());
}

SendLimits::Values SendLimits::settings() const
{
    if (m_ledgerFile.isEmpty())
        return {};
    const auto number = [this](QLatin1String name) {
        return qsizetype(qMax(0, m_registry.read(Settings::localPath(name)).trimmed().toInt()));
    };
    return {number("SendPerHour"_L1), number("SendPerDay"_L1), number("SendGap"_L1)};
}

void SendLimits::beginPass()
{
    const Values values = settings();
    if (values != m_values || (m_ledger.has_value() != (values != Values())))
        m_ledger.reset();
    m_values = values;
    if (values == Values()) {
        m_isResting = false;
        return;
    }
    if (!m_ledger) {
        SendLedger ledger(m_ledgerFile, qMax<qsizetype>(1, qMax(values.perHour, values.perDay)));
        if (ledger.read(m_clock.now()) == SendLedger::Found::Damaged)
            m_console.addLogLine(u"发送记录 %1 已损坏，重新开始，并按发送上限已用完计算"_s.arg(m_ledgerFile));
        m_ledger = std::move(ledger);
    }
    m_ledger->noteClock(m_clock.now());
}

bool SendLimits::presses(qint64 waiting) const
{
    if (!m_ledger)
        return false;
    const auto isTight = [&](qsizetype limit, std::chrono::seconds window) {
        return limit > 0 && (waiting > limit || roomAt(*m_ledger, limit, window, waiting, m_clock.now()));
    };
    return isTight(m_values.perHour, hour) || isTight(m_values.perDay, day);
}

std::optional<QDateTime> SendLimits::gapEnd() const
{
    const auto last = m_ledger ? m_ledger->newest(1) : std::nullopt;
    if (!last || m_values.gapSeconds == 0)
        return std::nullopt;
    const QDateTime end = last->addSecs(m_values.gapSeconds);
    return end > m_clock.now() ? std::optional(end) : std::nullopt;
}

std::optional<QDateTime> SendLimits::restsUntil(qsizetype parts) const
{
    if (!m_ledger)
        return std::nullopt;
    const QDateTime now = m_clock.now();
    std::optional<QDateTime> latest = gapEnd();
    for (const auto &end : {roomAt(*m_ledger, m_values.perHour, hour, parts, now),
                            roomAt(*m_ledger, m_values.perDay, day, parts, now)}) {
        if (end && (!latest || *end > *latest))
            latest = end;
    }
    return latest;
}

void SendLimits::rest(const QDateTime &until, qint64 waiting)
{
    if (const auto gap = gapEnd(); gap && *gap == until)
        return;
    const QDateTime now = m_clock.now();
    // Room comes back message by message; each is no news.
    const bool isNews = !m_isResting || !m_toldAt.isValid() || qAbs(m_toldAt.secsTo(now)) >= hour.count();
    if (!isNews || m_isHeld)
        return;
    m_isResting = true;
    m_isHeld = true;
    m_toldAt = now;
    m_console.addLogLine(
        u"已达发送上限，暂停发送到 %1，等待发送 %2 条"_s.arg(until.toString(u"yyyy-MM-dd HH:mm:ss"_s))
            .arg(waiting));
}

void SendLimits::count(qsizetype parts)
{
    if (!m_ledger)
        return;
    m_lastParts = 0;
    for (; m_lastParts < parts; ++m_lastParts)
        m_ledger->add(m_clock.now());
    if (std::exchange(m_isHeld, false))
        m_console.addLogLine(u"发送上限已有余量，继续发送"_s);
}

void SendLimits::takeBack()
{
    for (; m_ledger && m_lastParts > 0; --m_lastParts)
        m_ledger->takeBackLast();
}

std::optional<std::chrono::milliseconds> SendLimits::gapLeft() const
{
    const auto end = gapEnd();
    if (!end || restsUntil(1) != end)
        return std::nullopt;
    return std::chrono::milliseconds(qMax<qint64>(1, m_clock.now().msecsTo(*end)));
}
