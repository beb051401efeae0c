#pragma once

#include "database/Connection.h"

/// What a database refuses of what the passes do to it, in words for people.
struct DatabaseProblem {
    QString what;
    QString remedy;
};

/// Tries every kind of read and write on the office's tables with statements that concern no row: rights, a read-only
/// database, texts that cannot be compared; and looks for tables without transactions. Changes nothing, and takes no
/// number. What a lock keeps from being tried is told as such. Throws DatabaseFault (Lost).
[[nodiscard]] QList<DatabaseProblem> triedWithoutRows(Connection &connection);

/// Stores a row in each table that the passes add to, in transactions that are rolled back: identities that do not come
/// back, characters that are not kept, columns that refuse what the passes store. Databases do not take numbers back.
/// Not for tables without transactions, which are left out. Throws DatabaseFault (Lost).
[[nodiscard]] QList<DatabaseProblem> triedWithRows(Connection &connection);
