#pragma once

#include "database/driver/DatabaseFault.h"

#include <QSqlDatabase>
#include <QSqlError>
#include <chrono>

/// A connection of QtSql's, and what its errors mean.
class QtSqlLine
{
public:
    explicit QtSqlLine(const QString &qtDriver);
    virtual ~QtSqlLine();
    QtSqlLine(const QtSqlLine &) = delete;
    QtSqlLine &operator=(const QtSqlLine &) = delete;

    [[nodiscard]] QSqlDatabase database() const;
    /// What a driver's error means for the connection, told by its native code: Qt's own error type is
    /// unreliable (a constraint and a lock both come as ConnectionError on some drivers). what: the statement.
    [[nodiscard]] virtual DatabaseFault fault(const QString &what, const QSqlError &error) const = 0;
    /// False when a query's whole result is taken at once, so that only its execution waits for the database.
    [[nodiscard]] virtual bool readsRowByRow() const { return true; }
    /// A statement that is no query has been executed, and took this long.
    virtual void hasWritten(std::chrono::nanoseconds /*duration*/) {}

protected:
    [[nodiscard]] QtSqlLine &line() { return *this; }
    /// Runs a statement without preparing it. Throws DatabaseFault.
    void exec(const QString &sql) const;
    /// The start of a statement, enough to recognise it, and the database's words for an error, on one line, with
    /// its code.
    [[nodiscard]] static QString described(const QString &what, const QSqlError &error);
    [[nodiscard]] static QString causeOf(const QSqlError &error);

private:
    QString m_connectionName;
};
