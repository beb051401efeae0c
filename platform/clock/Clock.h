#pragma once

#include <QDateTime>
#include <QSysInfo>
#include <chrono>

/// Time, as everything asks for it that compares with "now": due rows, reassembly limits, service-centre times, and
/// distances that a test sweeps. Time limits of single exchanges with a device are QDeadlineTimer's.
class Clock
{
public:
    Clock() = default;
    virtual ~Clock() = default;
    Clock(const Clock &) = delete;
    Clock &operator=(const Clock &) = delete;

    /// The current date-time in local time, as the machine has it: people and time servers set it.
    [[nodiscard]] virtual QDateTime now() const = 0;
    /// Time since some moment before the program's start, which nobody sets: for distances within a run.
    [[nodiscard]] virtual std::chrono::milliseconds steady() const = 0;
    /// Names the moment that steady() counts from: the same for every run until the machine starts anew; "" where
    /// nobody tells.
    [[nodiscard]] virtual QByteArray epoch() const = 0;
};

class SystemClock final : public Clock
{
public:
    [[nodiscard]] QDateTime now() const override { return QDateTime::currentDateTime(); }
    [[nodiscard]] std::chrono::milliseconds steady() const override
    {
        return std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::steady_clock::now().time_since_epoch());
    }
    [[nodiscard]] QByteArray epoch() const override { return QSysInfo::bootUniqueId(); }
};
