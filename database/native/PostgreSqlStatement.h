#pragma once

#include "database/driver/ServerDriver.h"

#include <libpq-fe.h>

/// What libpq answered.
struct ClearPostgreSqlResult {
    void operator()(PGresult *result) const { PQclear(result); }
};
using PostgreSqlResult = std::unique_ptr<PGresult, ClearPostgreSqlResult>;

/// The result, if the statement that it is of was carried out. Throws DatabaseFault.
[[nodiscard]] PostgreSqlResult checked(const ServerDriver &driver, const QString &what, PGconn *connection,
                                       PGresult *result);
/// A value in the kind in which other drivers give it, too.
[[nodiscard]] QVariant valueOf(const PGresult *result, int row, int column);

/// A statement on libpq, prepared once; it takes values as boundValue() makes them. They go beside the statement: texts
/// as texts, octets as they are.
class PostgreSqlStatement final : public Statement
{
public:
    /// sql: as the program wrote it, for a fault's text. Throws DatabaseFault when the server refuses the statement.
    PostgreSqlStatement(const ServerDriver &driver, PGconn *connection, QString sql, const QString &spelled);
    ~PostgreSqlStatement() override;

    void execute(const QVariantList &values) override;
    [[nodiscard]] bool next() override { return ++m_row < PQntuples(m_result.get()); }
    [[nodiscard]] QVariant value(int column) const override { return valueOf(m_result.get(), m_row, column); }
    [[nodiscard]] QStringList columnNames() const override;
    [[nodiscard]] qint64 affectedRows() const override
    {
        return QByteArray(PQcmdTuples(m_result.get())).toLongLong();
    }
    void finish() noexcept override { m_result.reset(); }

private:
    const ServerDriver &m_driver;
    PGconn *m_connection;
    QString m_sql;
    QByteArray m_name;
    PostgreSqlResult m_result;
    int m_row = -1;
};
