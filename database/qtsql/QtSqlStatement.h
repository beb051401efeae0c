#pragma once

#include "database/driver/Driver.h"
#include "database/qtsql/QtSqlLine.h"

#include <QSqlQuery>

/// A statement on QtSql, prepared once. It takes values as boundValue() makes them.
class QtSqlStatement : public Statement
{
public:
    /// sql: as the program wrote it, for a fault's text. Throws DatabaseFault when the database refuses the
    /// statement.
    QtSqlStatement(QtSqlLine &line, const QString &sql, const QString &spelled);

    void execute(const QVariantList &values) override;
    [[nodiscard]] bool next() override;
    [[nodiscard]] QVariant value(int column) const override { return m_query.value(column); }
    [[nodiscard]] QStringList columnNames() const override;
    [[nodiscard]] qint64 affectedRows() const override { return m_query.numRowsAffected(); }
    [[nodiscard]] QVariant lastIdentity() const override { return m_query.lastInsertId(); }
    void finish() noexcept override;

protected:
    [[nodiscard]] const QSqlQuery &query() const { return m_query; }

private:
    QtSqlLine &m_line;
    QSqlQuery m_query;
    QString m_sql;
    bool m_isQuery;
    bool m_holdsMuch = false; // in the values of the last execution
};
