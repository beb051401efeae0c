#pragma once

#include "database/Connection.h"

#include <QHash>

/// The session locks of an embedded database that several servers in one process share. It outlives their
/// connections.
class LockTable
{
public:
    /// From its next open() on.
    void lendTo(Connection &connection)
    {
        connection.setLentLocks([this] { return std::make_unique<Session>(m_holders); });
    }

private:
    using Holders = QHash<QString, const SessionLocks *>; // by the lock's name

    class Session final : public SessionLocks
    {
    public:
        explicit Session(Holders &holders) : m_holders(holders) {}
        ~Session() override
        {
            m_holders.removeIf([this](const auto &lock) { return lock.value() == this; });
        }
        Session(const Session &) = delete;
        Session &operator=(const Session &) = delete;

        [[nodiscard]] bool tryTake(const QString &name) override
        {
            const SessionLocks *&holder = m_holders[name];
            if (holder == nullptr)
                holder = this;
            return holder == this;
        }
        void release(const QString &name) noexcept override
        {
            if (m_holders.value(name) == this)
                m_holders.remove(name);
        }

    private:
        Holders &m_holders;
    };

    Holders m_holders;
};
