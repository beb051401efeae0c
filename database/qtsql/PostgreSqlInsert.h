#pragma once

#include "database/qtsql/QtSqlStatement.h"

#include <libpq-fe.h>
#include <optional>

/// An INSERT of PostgreSQL that answers nothing. Qt's driver writes octets into the text of a statement, which
/// costs sixteen times their size; many of them go to the server as they are.
class PostgreSqlInsert final : public QtSqlStatement
{
public:
    /// As QtSqlStatement. connection: the driver's own.
    PostgreSqlInsert(QtSqlLine &line, PGconn *connection, const QString &sql, const QString &spelled);

    void execute(const QVariantList &values) override;
    [[nodiscard]] qint64 affectedRows() const override;

private:
    void executeBinary(const QVariantList &values);

    QtSqlLine &m_line;
    PGconn *m_connection;
    QString m_sql;
    QByteArray m_numbered;               // with $1, $2 ... for its question marks
    std::optional<qint64> m_binaryCount; // of rows, when the last execution was one
};
