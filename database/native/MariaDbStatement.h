#pragma once

#include "database/driver/ServerDriver.h"

#include <memory>
#include <mysql.h>

/// A statement on MariaDB's own client library, prepared once; it takes values as boundValue() makes them. One request
/// an execution.
class MariaDbStatement final : public Statement
{
public:
    /// sql: as the program wrote it, for a fault's text. Throws DatabaseFault when the database refuses the statement.
    MariaDbStatement(const ServerDriver &driver, MYSQL *connection, QString sql, const QString &spelled);

    void execute(const QVariantList &values) override;
    [[nodiscard]] bool next() override;
    [[nodiscard]] QVariant value(int column) const override { return m_row[column]; }
    [[nodiscard]] QStringList columnNames() const override;
    [[nodiscard]] qint64 affectedRows() const override { return m_affectedRows; }
    [[nodiscard]] QVariant lastIdentity() const override;
    void finish() noexcept override;

private:
    struct Close {
        void operator()(MYSQL_STMT *statement) const { mysql_stmt_close(statement); }
        void operator()(MYSQL_RES *columns) const { mysql_free_result(columns); }
    };

    void require(bool isDone);
    void bindResult();
    [[nodiscard]] QVariant fetched(unsigned int column);

    const ServerDriver &m_driver;
    QString m_sql;
    std::unique_ptr<MYSQL_STMT, Close> m_statement;
    std::unique_ptr<MYSQL_RES, Close> m_columns; // of the result; none where there is none
    std::vector<MYSQL_BIND> m_result;
    QVariantList m_row;
    qint64 m_affectedRows = -1;
};
