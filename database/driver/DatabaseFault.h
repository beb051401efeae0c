#pragma once

#include "platform/fault/Fault.h"

/// Enough of a statement to recognise it in a fault's text.
inline constexpr int shownSqlLength = 120;

/// A statement or a connection attempt that the database did not carry out.
class DatabaseFault : public Fault
{
public:
    enum class Kind {
        Refused, ///< this statement or its values were refused; others may succeed
        Locked, ///< somebody else holds the row or the table, or the statement's time ran out: others may succeed
        Unavailable, ///< the database answers but serves nobody now (disk full, read-only, an embedded one locked)
        Lost,        ///< there is no connection: nothing succeeds until it is opened again
    };
    /// Of a refusal.
    enum class Cause {
        Other,
        Characters, ///< a text holds characters that the database's own set lacks
        Table,      ///< no row of this table can be changed: no right, or it is read-only
    };

    DatabaseFault(Kind kind, const QString &message, Cause cause = Cause::Other)
        : Fault(message), m_kind(kind), m_cause(cause)
    {
    }
    [[nodiscard]] Kind kind() const noexcept { return m_kind; }
    [[nodiscard]] Cause cause() const noexcept { return m_cause; }
    /// True when the row in hand was refused, and a pass may go on with the next one or without a value of it.
    [[nodiscard]] bool concernsOneRow() const noexcept
    {
        return m_kind == Kind::Refused && m_cause != Cause::Table;
    }
    /// True also when somebody holds the row in hand, which is whole and comes up again: a pass over rows may go on
    /// with the next one.
    [[nodiscard]] bool setsRowAside() const noexcept { return concernsOneRow() || m_kind == Kind::Locked; }

private:
    Kind m_kind;
    Cause m_cause;
};
