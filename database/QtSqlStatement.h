#pragma once

#include "database/QtSqlDriver.h"

#include <QSqlQuery>

/// A statement on QtSql, prepared once.
class QtSqlStatement : public Statement
{
public:
    /// Throws DatabaseFault when the database refuses the statement.
    QtSqlStatement(QtSqlDriver &driver, const QSqlDatabase &database, const QString &sql);

    void execute(const QVariantList &values) override;
    [[nodiscard]] bool next() override;
    [[nodiscard]] QVariant value(int column) const override { return m_query.value(column); }
    [[nodiscard]] QStringList columnNames() const override;
    [[nodiscard]] qint64 affectedRows() const override { return m_query.numRowsAffected(); }
    void finish() noexcept override { m_query.finish(); }

    [[nodiscard]] QVariant lastInsertId() const { return m_query.lastInsertId(); }
    [[nodiscard]] const QSqlQuery &query() const { return m_query; }

private:
    QtSqlDriver &m_driver;
    QSqlQuery m_query;
    QString m_sql;
};
