#include "database/NamedLock.h"

#include "database/SqlDialect.h"

#include <QCryptographicHash>

using namespace Qt::StringLiterals;

namespace
{

/// The same for every driver and text encoding, and within every server's limit for names.
QByteArray digestOf(const QString &name)
{
    return QCryptographicHash::hash(name.toUtf8(), QCryptographicHash::Sha256).first(16).toHex();
}

} // namespace

bool NamedLock::isSupported(const Connection &connection)
{
    const SqlDialect *dialect = connection.dialect();
    return dialect != nullptr && dialect->hasNamedLocks();
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
    if (!isSupported(m_connection))
        throw DatabaseFault(DatabaseFault::Kind::Refused, u"该数据库没有会话锁，不能由多个短信服务器共用"_s);
    const auto statement = m_connection.dialect()->takeNamedLock(digestOf(m_name), digestOf(name), reading);
    m_name = name;
    const auto rows = m_connection.query(statement.sql, statement.values);
    if (rows.values.size() < 2)
        return std::nullopt;
    return Reading{rows.values[1].toInt() == 1, rows.values[0]};
}

void NamedLock::release() noexcept
{
    if (m_name.isEmpty() || !m_connection.isOpen())
        return;
    try {
        const auto statement = m_connection.dialect()->releaseNamedLock(digestOf(m_name));
        static_cast<void>(m_connection.query(statement.sql, statement.values));
    } catch (const DatabaseFault &) {
        // A session that cannot let go is lost, and the lock with it; one that was refused holds no lock.
    }
    m_name.clear();
}
