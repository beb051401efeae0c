#pragma once

#include "database/Connection.h"

/// Rows of a query or of a table, in the three ways the program uses them:
/// - open(): a snapshot of a query's rows with an exact count; later changes to the table do not disturb it;
/// - openForAppend(): no row of the table; addNew(), set() column by column, update(), any number of times;
/// - openForUpdate(): the table's rows that meet a condition; set() and update() change the first of them, or
///   add one after addNew().
/// Column names are matched without regard to letter case. Null is distinguishable from empty.
/// Every operation that reaches the database throws DatabaseFault.
class Recordset
{
public:
    explicit Recordset(Connection &connection) : m_connection(connection) {}

    void open(const QString &query, const QVariantList &values = {});
    [[nodiscard]] int recordCount() const { return m_recordCount; }
    [[nodiscard]] bool atEnd() const { return m_row >= m_recordCount; }
    void moveNext() { ++m_row; }
    /// The value in the row it is on; an invalid QVariant for a null and for a column the query lacks.
    [[nodiscard]] QVariant value(QLatin1String column) const;
    /// The value as text; a null text for a null.
    [[nodiscard]] QString text(QLatin1String column) const { return value(column).toString(); }

    /// identityColumn: the column that the database numbers, when the new number is wanted.
    void openForAppend(const QString &table, const QString &identityColumn = {});
    /// A snapshot as of open(), standing on the first row, the only one that can be changed. For a row to be
    /// the same one at update(), both calls are in one transaction. keyColumn: tells the first of several rows from
    /// the others, if the table has it and its value there is the row's alone.
    void openForUpdate(const QString &table, const QString &condition, const QVariantList &values,
                       const QString &keyColumn = {});
    void addNew();
    void set(QLatin1String column, const QVariant &value);
    /// Writes the new row, or the columns set in the first row. When it throws, nothing was written. A first
    /// row that is not there any more, and an identity that does not come back, are faults too.
    void update();
    /// The identity of the row last written.
    [[nodiscard]] const QVariant &identity() const { return m_written.identity; }

    void close();

private:
    [[nodiscard]] const QVariant &valueAt(int row, qsizetype column) const
    {
        return m_snapshot.values[size_t(row * m_snapshot.columns.size() + column)];
    }
    /// -1 for one that the rows lack.
    [[nodiscard]] qsizetype indexOf(QAnyStringView column) const;
    /// Null where the rows have none that tells the first one from the others.
    [[nodiscard]] QVariant keyOfFirstRow() const;
    [[nodiscard]] QString insertText() const;
    [[nodiscard]] QString assignments() const;

    Connection &m_connection;
    // A snapshot
    Connection::Snapshot m_snapshot;
    int m_recordCount = 0;
    int m_row = 0;
    /// A row being written. The columns of the row before are kept: as a rule they come again in the same order.
    struct Written {
        bool isNew = false;
        QString condition;
        QVariantList conditionValues;
        QString table;
        QString identityColumn;
        QString keyColumn;
        QStringList columns;
        QVariantList values;
        qsizetype setCount = 0;
        QString insertText;
        QVariant identity;
    } m_written;
};
