#include "mailbox/RowInsert.h"

#include "database/Recordset.h"
#include "database/Savepoint.h"

namespace
{

class RowInsert
{
public:
    RowInsert(Connection &connection, QString table, QString identityColumn)
        : m_connection(connection), m_table(std::move(table)), m_identityColumn(std::move(identityColumn))
    {
    }

    /// The identity of the row; nothing when the database refuses it.
    std::optional<QVariant> write(const QList<ColumnValue> &columns)
    {
        return attempt(columns, [](Savepoint &step) { step.release(); });
    }
    /// Would the database take this row?
    bool isAccepted(const QList<ColumnValue> &columns)
    {
        return attempt(columns, [](Savepoint &) {}).has_value();
    }
    [[nodiscard]] const DatabaseFault &refusal() const { return *m_refusal; }

private:
    template <typename Finish>
    std::optional<QVariant> attempt(const QList<ColumnValue> &columns, Finish finish)
    {
        Savepoint step(m_connection);
        try {
            Recordset row(m_connection);
            row.openForAppend(m_table, m_identityColumn);
            row.addNew();
            for (const ColumnValue &column : columns)
                row.set(column.name, column.value);
            row.update();
            finish(step);
            return row.identity();
        } catch (const DatabaseFault &fault) {
            if (!fault.concernsOneRow())
                throw;
            if (!m_refusal)
                m_refusal = fault;
            return std::nullopt;
        }
    }

    Connection &m_connection;
    QString m_table;
    QString m_identityColumn;
    std::optional<DatabaseFault> m_refusal; // the first, of the whole row
};

} // namespace

InsertedRow insertRow(Connection &connection, const QString &table, const QString &identityColumn,
                      const QList<ColumnValue> &columns)
{
    RowInsert insert(connection, table, identityColumn);
    if (auto identity = insert.write(columns))
        return {*identity, {}};
    for (qsizetype i = 0; i < columns.size(); ++i) {
        if (columns[i].isRequired)
            continue;
        QList<ColumnValue> others = columns;
        others.removeAt(i);
        if (auto identity = insert.write(others))
            return {*identity, {columns[i].name}};
    }
    QList<ColumnValue> accepted;
    for (const ColumnValue &column : columns) {
        if (column.isRequired)
            accepted += column;
    }
    QList<QLatin1String> leftOut;
    for (const ColumnValue &column : columns) {
        if (column.isRequired)
            continue;
        accepted += column;
        if (!insert.isAccepted(accepted)) {
            accepted.removeLast();
            leftOut += column.name;
        }
    }
    if (auto identity = insert.write(accepted))
        return {*identity, leftOut};
    throw DatabaseFault(insert.refusal());
}
