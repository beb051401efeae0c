#pragma once

#include "database/driver/DatabaseFault.h"

#include <QHash>
#include <QString>
#include <QVariantList>
#include <functional>
#include <optional>

/// Finds the real spelling of tables and columns on servers that tell letter case apart, and writes
/// statements in it. Statements spell names in any case; a table is looked up once, when a statement first
/// names it.
///
/// Rejected: to read the whole catalogue at login. In an office's database of 600 tables that is 13,300 columns and
/// 60 ms of PostgreSQL at every reconnection, and a table made later is missing; one table is 20 columns and 2 ms,
/// and the passes name a dozen. Leaving names bare is no way either: PostgreSQL finds "SMS_Queues" under no bare
/// spelling once it was created in quotes, and MariaDB on Linux only under its own.
class NameResolver
{
public:
    struct Column {
        QString table;
        QString name;
        int maximumLength = 0;     ///< of a text, in characters; 0: no limit known
        QString characterSet = {}; ///< the server's name of it; "" for the database's own
    };
    /// All columns of the tables with this name, letter case apart. lowerCaseTable: the name in lower case.
    using Lookup = std::function<QList<Column>(const QString &lowerCaseTable)>;
    using Quote = std::function<QString(const QString &name)>;

    NameResolver(Lookup lookup, Quote quote) : m_lookup(std::move(lookup)), m_quote(std::move(quote)) {}

    /// The statement with the names of its tables, and of those tables' columns, as the server spells them,
    /// quoted. Names the server does not have, names already quoted, and texts stay as they are. Throws what
    /// the lookup throws.
    [[nodiscard]] QString rewritten(const QString &sql);

    /// The column that each parameter of a statement already rewritten is stored in, in order; a column
    /// without a name where a parameter is not stored.
    [[nodiscard]] QList<Column> storedParameters(const QString &sql) const;

private:
    struct Table {
        QString name;
        QHash<QString, Column> columns; // by lower-case name
    };

    const Table *find(const QString &name);
    std::optional<Table> lookUp(const QString &name) const;

    Lookup m_lookup;
    Quote m_quote;
    QHash<QString, Table> m_tables; // by lower-case name
};

/// The refusal with each column named, as TABLE.COLUMN, that a text was too long for; the fault as it is when
/// there is none.
[[nodiscard]] DatabaseFault withColumnsTooShort(const DatabaseFault &refusal,
                                                const QList<NameResolver::Column> &parameters,
                                                const QVariantList &values);
