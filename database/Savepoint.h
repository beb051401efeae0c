#pragma once

#include "database/Connection.h"

/// A step of a transaction that may fail alone: at the end of the scope what it wrote is taken back unless it
/// was released. Faults inside a step that was taken back no longer forbid the transaction's commit,
/// unless the connection was lost. Steps nest. For steps only, never for lookups.
class Savepoint
{
public:
    /// Stands inside a Transaction. Throws DatabaseFault.
    explicit Savepoint(Connection &connection);
    ~Savepoint();
    Savepoint(const Savepoint &) = delete;
    Savepoint &operator=(const Savepoint &) = delete;

    /// Keeps what the step wrote. Throws DatabaseFault, what it wrote then taken back, when the database
    /// refuses or when a statement since the beginning failed, also when its caller absorbed the fault.
    void release();

private:
    Connection &m_connection;
    QString m_name;
    std::optional<DatabaseFault> m_earlierFault;
    bool m_released = false;
};
