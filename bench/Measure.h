#pragma once

#include <QString>
#include <functional>
#include <vector>

/// Seconds of wall-clock time that some work takes.
[[nodiscard]] double secondsOf(const std::function<void()> &work);

/// The most memory that this process had since its start, or since peakMemory(Peak::SetBack). In octets.
enum class Peak { Kept, SetBack };
[[nodiscard]] qint64 peakMemory(Peak then = Peak::Kept);

/// The middle one of several measurements; values must not be empty.
[[nodiscard]] double median(std::vector<double> values);

/// Best of several runs of two rivals, run in turns so that a noisy machine treats both alike.
struct Rivals {
    double ours = 0;
    double bare = 0;
};
[[nodiscard]] Rivals bestOf(int runs, const std::function<double()> &ours,
                            const std::function<double()> &bare);

/// Prints one line: what was measured, the figure, the limit and whether it holds. Returns whether it holds.
bool report(const QString &what, double figure, const QString &unit, bool holds, const QString &limit);
