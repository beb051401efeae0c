#pragma once

#include "database/Connection.h"

#include <QLatin1String>
#include <QList>

/// A column of a new row.
struct ColumnValue {
    QLatin1String name;
    QVariant value;
    bool isRequired = false; ///< without it the row is worth nothing
};

/// A row that was written.
struct InsertedRow {
    QVariant identity;
    QList<QLatin1String> leftOut; ///< columns whose values the database refused
};

/// Inserts a row inside a transaction. When the database refuses it, columns that are not required are left
/// out, each that it refuses beside those it accepted before. Throws DatabaseFault, nothing then written, when the row is refused even so, or for any fault that concerns more
/// than this row.
[[nodiscard]] InsertedRow insertRow(Connection &connection, const QString &table,
                                    const QString &identityColumn, const QList<ColumnValue> &columns);
