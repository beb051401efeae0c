#pragma once

#include "platform/clock/Clock.h"

/// A clock that does not move until it is told to.
class ManualClock final : public Clock
{
public:
    explicit ManualClock(QDateTime now) : m_now(std::move(now)) {}
    [[nodiscard]] QDateTime now() const override { return m_now; }
    [[nodiscard]] std::chrono::milliseconds steady() const override { return m_steady; }
    [[nodiscard]] QByteArray epoch() const override { return QByteArray::number(m_boots); }
    /// The machine starts anew.
    void boot() { ++m_boots; }
    /// A hand sets it: no time passes.
    void set(const QDateTime &now) { m_now = now; }
    void advanceSeconds(qint64 seconds)
    {
        m_now = m_now.addSecs(seconds);
        m_steady += std::chrono::seconds(seconds);
    }

private:
    QDateTime m_now;
    std::chrono::milliseconds m_steady{0};
    int m_boots = 1;
};
