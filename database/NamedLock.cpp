#include "database/NamedLock.h"

#include "database/DriverFactory.h"

#include <QCryptographicHash>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{

/// The same for every driver and text encoding, and within every server's limit for names.
QByteArray digestOf(const QString &name)
{
    return QCryptographicHash::hash(name.toUtf8(), QCryptographicHash::Sha256).first(16).toHex();
}

QString whyUnsupportedBy(const Driver &driver)
{
    return driver.dialect().hasNamedLocks() ? QString() : u"该数据库没有会话锁，只能由一个短信服务器使用"_s;
}

} // namespace

QString NamedLock::whyUnsupported(const Connection &connection)
{
    if (connection.m_lentLocks || !connection.m_driver)
        return {};
    const QString reason = whyUnsupportedBy(*connection.m_driver);
    if (reason.isEmpty() && connection.m_driver->clusterSize() > 1)
        return u"该数据库由多个服务器组成，各有各的会话锁，只能由一个短信服务器使用"_s;
    return reason;
}

QString NamedLock::whyUnsupported(const QString &connectString)
{
    try {
        return whyUnsupportedBy(*makeDriver(connectString));
    } catch (const DatabaseFault &) {
        return {};
    }
}

bool NamedLock::tryTake(const QString &name)
{
    const auto taken = take(name, nullptr);
    return taken && taken->isHeld;
}

std::optional<NamedLock::Reading> NamedLock::tryTakeReading(const QString &name, const LockedReading &reading)
{
    return take(name, &reading);
}

std::optional<NamedLock::Reading> NamedLock::take(const QString &name, const LockedReading *reading)
{
    release();
    m_connection.requireUsable();
    if (const QString reason = whyUnsupported(m_connection); !reason.isEmpty())
        throw DatabaseFault(DatabaseFault::Kind::Refused, reason);
    try {
        auto taken = m_connection.m_lentLocks ? takeLent(*m_connection.m_lentLocks, name, reading)
                                              : takeOfServer(name, reading);
        if (taken && taken->isHeld)
            noteHeld(name);
        return taken;
    } catch (const DatabaseFault &) {
        noteHeld(name); // as it may be
        release();
        throw;
    }
}

std::optional<NamedLock::Reading> NamedLock::takeOfServer(const QString &name, const LockedReading *reading)
{
    m_connection.m_driver->limitSilence();
    const auto statement = m_connection.m_driver->dialect().takeNamedLock(digestOf(name), reading);
    const auto rows = m_connection.query(statement.sql, statement.values);
    return rows.values.size() < 2 ? std::nullopt
                                  : std::optional(Reading{rows.values[1].toInt() == 1, rows.values[0]});
}

std::optional<NamedLock::Reading> NamedLock::takeLent(SessionLocks &lent, const QString &name,
                                                      const LockedReading *reading)
{
    const bool isHeld = lent.tryTake(name, false);
    if (reading == nullptr)
        return Reading{isHeld, {}};
    const auto value = m_connection.firstValue(
        u"select %1 from %2 where %3"_s.arg(reading->expression, reading->table, reading->condition),
        reading->values);
    return Reading{isHeld, value.value_or(QVariant())};
}

void NamedLock::noteHeld(const QString &name)
{
    m_name = name;
    m_session = m_connection.m_session;
    ++m_connection.m_namedLocks;
}

void NamedLock::release() noexcept
{
    const QString name = std::exchange(m_name, {});
    // A session that is no more has let go.
    if (name.isEmpty() || m_session != m_connection.m_session || !m_connection.isOpen())
        return;
    --m_connection.m_namedLocks;
    if (SessionLocks *lent = m_connection.m_lentLocks.get()) {
        lent->release(name);
        return;
    }
    try {
        const auto statement = m_connection.m_driver->dialect().releaseNamedLock(digestOf(name));
        static_cast<void>(m_connection.query(statement.sql, statement.values));
    } catch (const DatabaseFault &) {
        // A session that cannot let go is lost, and the lock with it; one that was refused holds no lock.
    }
}
