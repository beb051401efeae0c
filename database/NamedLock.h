#pragma once

#include "database/Connection.h"

/// A lock that sessions of one database give each other by name: a session lock of the database server, which ends
/// with the session. No table, row or transaction is locked by it, and nobody else sees it.
///
/// Each object holds one at a time: taking another lets the first go. When the session is lost, so is the lock, as
/// soon as the server notices the loss; whoever holds it then learns of it by the Lost fault of its next statement,
/// and another session may by then have taken it.
class NamedLock
{
public:
    /// Why several servers cannot share the database, in words for people; "" when they can, because it has session
    /// locks: PostgreSQL, MariaDB, MySQL and SQL Server do. "" also while the connection is closed.
    [[nodiscard]] static QString whyUnsupported(const Connection &connection);
    /// The same before connecting, as far as the connection string alone tells; "" also for a string that is refused.
    [[nodiscard]] static QString whyUnsupported(const QString &connectString);

    /// Takes nothing yet.
    explicit NamedLock(Connection &connection) : m_connection(connection) {}
    ~NamedLock() { release(); }
    NamedLock(const NamedLock &) = delete;
    NamedLock &operator=(const NamedLock &) = delete;

    /// Takes the lock of that name, any text, without waiting; false when another session holds it. Throws DatabaseFault, Refused where the database has no such locks.
    [[nodiscard]] bool tryTake(const QString &name);

    struct Reading {
        bool isHeld = false;
        QVariant value;
    };
    /// The same in one statement with the reading, which sees everything that was committed before the lock was
    /// taken. Without such a row the value is null or there is no answer.
    [[nodiscard]] std::optional<Reading> tryTakeReading(const QString &name, const LockedReading &reading);

    /// Lets go what is held. On a lost session it does nothing.
    void release() noexcept;

private:
    [[nodiscard]] std::optional<Reading> take(const QString &name, const LockedReading *reading);
    [[nodiscard]] std::optional<Reading> takeOfServer(const QString &name, const LockedReading *reading);
    [[nodiscard]] std::optional<Reading> takeLent(SessionLocks &lent, const QString &name,
                                                  const LockedReading *reading);
    void noteHeld(const QString &name);

    Connection &m_connection;
    QString m_name;       // that is held; "" for none
    qint64 m_session = 0; // that holds it
};
