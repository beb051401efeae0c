#pragma once

#include "database/driver/Driver.h"

#include <sqlite3.h>

class SqliteDriver;

/// A statement on SQLite's own library, prepared once.
class SqliteStatement final : public Statement
{
public:
    /// Throws DatabaseFault when the database refuses the statement.
    SqliteStatement(SqliteDriver &driver, sqlite3 *database, const QString &sql);

    void execute(const QVariantList &values) override;
    [[nodiscard]] bool next() override;
    [[nodiscard]] QVariant value(int column) const override;
    [[nodiscard]] QStringList columnNames() const override;
    [[nodiscard]] qint64 affectedRows() const override { return m_affectedRows; }
    void finish() noexcept override;

private:
    struct Finalize {
        void operator()(sqlite3_stmt *statement) const { sqlite3_finalize(statement); }
    };

    void bind(int position, const QVariant &value);
    void step();

    SqliteDriver &m_driver;
    sqlite3 *m_database;
    QString m_sql;
    QByteArrayList m_bound; // what the statement points to
    std::unique_ptr<sqlite3_stmt, Finalize> m_statement;
    bool m_hasRow = false;  // there is a row to be read
    bool m_isFirst = false; // and nobody has asked for it
    qint64 m_affectedRows = 0;
};
