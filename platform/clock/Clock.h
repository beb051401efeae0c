#pragma once

#include <QDateTime>

/// The wall clock that everything asks which compares with "now": due rows, reassembly limits, service-centre
/// times. Time limits of single exchanges with a device run on the steady clock instead (QDeadlineTimer).
class Clock
{
public:
    Clock() = default;
    virtual ~Clock() = default;
    Clock(const Clock &) = delete;
    Clock &operator=(const Clock &) = delete;

    /// The current date-time in local time.
    [[nodiscard]] virtual QDateTime now() const = 0;
};

class SystemClock final : public Clock
{
public:
    [[nodiscard]] QDateTime now() const override { return QDateTime::currentDateTime(); }
};

/// A clock that does not move until it is set.
class ManualClock final : public Clock
{
public:
    explicit ManualClock(QDateTime now) : m_now(std::move(now)) {}
    [[nodiscard]] QDateTime now() const override { return m_now; }
    void set(const QDateTime &now) { m_now = now; }
    void advanceSeconds(qint64 seconds) { m_now = m_now.addSecs(seconds); }

private:
    QDateTime m_now;
};
