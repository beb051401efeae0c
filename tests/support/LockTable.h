#pragma once

#include "database/Connection.h"

#include <QHash>
#include <QSet>

/// The session locks of an embedded database that several servers in one process share. It outlives their
/// connections.
class LockTable
{
public:
    /// From its next open() on.
    void lendTo(Connection &connection)
    {
        connection.setLentLocks([this] { return std::make_unique<Session>(m_locks); });
    }

private:
    struct Lock {
        QSet<const SessionLocks *> holders;
        bool isShared = false;
    };
    using Locks = QHash<QString, Lock>; // by name

    class Session final : public SessionLocks
    {
    public:
        explicit Session(Locks &locks) : m_locks(locks) {}
        ~Session() override
        {
            for (Lock &lock : m_locks)
                lock.holders.remove(this);
        }
        Session(const Session &) = delete;
        Session &operator=(const Session &) = delete;

        [[nodiscard]] bool tryTake(const QString &name, bool isShared) override
        {
            Lock &lock = m_locks[name];
            if (lock.holders.isEmpty() || (isShared && lock.isShared)) {
                lock.holders.insert(this);
                lock.isShared = isShared;
            }
            return lock.holders.contains(this);
        }
        void release(const QString &name) noexcept override { m_locks[name].holders.remove(this); }

    private:
        Locks &m_locks;
    };

    Locks m_locks;
};
