#pragma once

#include "database/NamedLock.h"
#include "platform/registry/Registry.h"

/// True when several servers work on the office's database (setting Servers=several).
[[nodiscard]] bool areServersSeveral(const Registry &registry);

/// Lets one server of several do a pass that must not be done by two at a time. With one server it costs nothing and
/// is always ours.
class PassLock
{
public:
    /// Tries to take the pass by its name, without waiting. Throws DatabaseFault.
    PassLock(Connection &connection, const Registry &registry, const QString &pass)
        : m_lock(connection),
          m_isOurs(!areServersSeveral(registry) || m_lock.tryTake(QStringLiteral("sms-server pass ") + pass))
    {
    }
    [[nodiscard]] bool isOurs() const { return m_isOurs; }

private:
    NamedLock m_lock;
    bool m_isOurs;
};
