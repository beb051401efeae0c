#pragma once

#include "database/driver/DatabaseFault.h"
#include "database/odbc/OdbcHandle.h"

/// A connection of the ODBC C API, and what its errors mean.
class OdbcLine
{
public:
    OdbcLine() = default;
    virtual ~OdbcLine() = default;
    OdbcLine(const OdbcLine &) = delete;
    OdbcLine &operator=(const OdbcLine &) = delete;

    /// Throws DatabaseFault (Lost) when the connection has none to give.
    [[nodiscard]] virtual OdbcHandle newStatementHandle() const = 0;
    /// What a failed call on a statement or connection means. what: the statement's text.
    [[nodiscard]] virtual DatabaseFault fault(const QString &what, const OdbcHandle &handle) const = 0;
    /// MariaDB's driver would wait for a result that never comes; PostgreSQL's keeps what it has until then.
    [[nodiscard]] virtual bool closesAfterRefusal() const = 0;

protected:
    [[nodiscard]] const OdbcLine &line() const { return *this; }
};
