#pragma once

#include "platform/fault/Fault.h"

/// A statement or a connection attempt that the database did not carry out.
class DatabaseFault : public Fault
{
public:
    enum class Kind {
        Refused,     ///< this statement or its values were refused; others may succeed
        Unavailable, ///< the database answers but serves nobody now (locked, disk full, read-only)
        Lost,        ///< there is no connection: nothing succeeds until it is opened again
    };

    DatabaseFault(Kind kind, const QString &message) : Fault(message), m_kind(kind) {}
    [[nodiscard]] Kind kind() const noexcept { return m_kind; }
    /// True when only the row in hand is concerned and a pass may go on with the next one.
    [[nodiscard]] bool concernsOneRow() const noexcept { return m_kind == Kind::Refused; }

private:
    Kind m_kind;
};
