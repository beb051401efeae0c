#pragma once

#include <QString>

/// The named locks of one session of a database that has none of its own, lent to its Connection by whoever runs
/// several servers in one process. They last until this object ends, as the session does.
class SessionLocks
{
public:
    SessionLocks() = default;
    virtual ~SessionLocks() = default;
    SessionLocks(const SessionLocks &) = delete;
    SessionLocks &operator=(const SessionLocks &) = delete;

    /// Without waiting; false when another session holds the lock, unless both share it. One that this session holds
    /// already counts as free.
    [[nodiscard]] virtual bool tryTake(const QString &name, bool isShared) = 0;
    virtual void release(const QString &name) noexcept = 0;
};
