#include "mailbox/RowInsert.h"

#include "database/Recordset.h"
#include "database/Savepoint.h"

InsertedRow insertRow(Connection &connection, const QString &table, const QString &identityColumn,
                      const QList<ColumnValue> &columns)
{
    enum class Try { ToKeep, ToSee };
    std::optional<DatabaseFault> refusal; // the first, of the whole row
    const auto write = [&](const QList<ColumnValue> &values, Try purpose) -> std::optional<QVariant> {
        Savepoint step(connection);
        try {
            Recordset row(connection);
            row.openForAppend(table, identityColumn);
            row.addNew();
            for (const ColumnValue &column : values)
                row.set(column.name, column.value);
            row.update();
            if (purpose == Try::ToKeep)
                step.release();
            return row.identity();
        } catch (const DatabaseFault &fault) {
            if (!fault.concernsOneRow())
                throw;
            if (!refusal)
                refusal = fault;
            return std::nullopt;
        }
    };
    if (auto identity = write(columns, Try::ToKeep))
        return {*identity, {}};
    QList<ColumnValue> accepted;
    std::ranges::copy_if(columns, std::back_inserter(accepted), &ColumnValue::isRequired);
    QList<QLatin1String> leftOut;
    for (const ColumnValue &column : columns) {
        if (column.isRequired)
            continue;
        accepted += column;
        if (!write(accepted, Try::ToSee)) {
            accepted.removeLast();
            leftOut += column.name;
        }
    }
    if (auto identity = write(accepted, Try::ToKeep))
        return {*identity, leftOut};
    throw DatabaseFault(*refusal);
}
