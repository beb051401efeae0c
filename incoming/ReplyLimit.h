#pragma once

#include "platform/clock/Clock.h"
#include "platform/registry/Registry.h"

#include <QHash>

/// Bounds the confirmations that one number can cause in any 60 minutes (setting RepliesPerHour; none by
/// default). Of this run alone: a restart begins anew.
class ReplyLimit
{
public:
    ReplyLimit(const Registry &registry, const Clock &clock) : m_registry(registry), m_clock(clock) {}

    /// How many more confirmations may go to the number now.
    [[nodiscard]] int left(const QString &number);
    void count(const QString &number, int confirmations);

private:
    const Registry &m_registry;
    const Clock &m_clock;
    int m_most = 0;                          // 0: no limit
    QHash<QString, QList<QDateTime>> m_sent; // of the last hour
};
