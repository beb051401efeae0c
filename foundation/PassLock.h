#pragma once

#include "database/NamedLock.h"

/// Lets one server of several do a pass that must not be done by two at a time. With one server it costs nothing and
/// is always ours.
class PassLock
{
public:
    /// Tries to take the pass by its name, without waiting. Throws DatabaseFault.
    PassLock(Connection &connection, bool areServersSeveral, const QString &pass)
        : m_lock(connection),
          m_isOurs(!areServersSeveral || m_lock.tryTake(QStringLiteral("sms-server pass ") + pass))
    {
    }
    [[nodiscard]] bool isOurs() const { return m_isOurs; }

private:
    NamedLock m_lock;
    bool m_isOurs;
};
