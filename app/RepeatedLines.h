#pragma once

#include <QHash>
#include <QStringList>

/// Keeps a log from filling up with one message: within an hour the first hundred lines of the same text pass,
/// which no ordinary trouble exceeds; the rest are counted, and the hour's end gives one line with the sum.
class RepeatedLines
{
public:
    static constexpr int passing = 100;

    /// line: "YYYY-MM-DD HH:MM:SS message". What is to be written for it:
    /// sums of the hour before, then itself or nothing.
    [[nodiscard]] QStringList next(const QString &line);
    /// The sums that were not told yet.
    [[nodiscard]] QStringList takeSums();

private:
    QHash<QString, int> m_counts; // of this hour, by message
    QString m_lastTime;
};
