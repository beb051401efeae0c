#pragma once

#include "platform/clock/Clock.h"

#include <QHash>
#include <QString>

/// Bounds the confirmations that one number can cause in any 60 minutes (setting RepliesPerHour; none by
/// default). Of this run alone: a restart begins anew.
class ReplyLimit
{
public:
    explicit ReplyLimit(const Clock &clock) : m_clock(clock) {}

    /// 0: no limit.
    void set(int most) { m_most = most; }
    /// How many more confirmations may go to the number now.
    [[nodiscard]] int left(const QString &number);
    void count(const QString &number, int confirmations);

private:
    const Clock &m_clock;
    int m_most = 0;
    QHash<QString, QList<std::chrono::milliseconds>> m_sent; // on the steady clock, of the last hour
};
