#pragma once

#include "database/DatabaseFault.h"
#include "database/Driver.h"

#include <QVariantList>
#include <functional>
#include <optional>
#include <unordered_map>

/// A client-side database connection opened from one connection string.
///
/// Statements are prepared once per text and used again. A fault is remembered as long as it matters: once
/// the connection is lost every statement is refused at once until the next open(), and a transaction in
/// which a statement struck a fault, whoever absorbed it, refuses to commit.
class Connection
{
public:
    Connection() = default;
    ~Connection();
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    /// Closes what was open and opens anew. Throws DatabaseFault; the connection is then closed.
    void open(const QString &connectionString);
    void close();
    /// True from a successful open() until close() or until the connection is found to be lost.
    [[nodiscard]] bool isOpen() const;

    /// Runs a statement with its positional values: a QString is a text, NULL is QVariant(). Returns the number of rows it changed. Throws
    /// DatabaseFault.
    qint64 execute(const QString &sql, const QVariantList &values = {});
    /// The first column of the query's first row; nothing when there is no row. Throws DatabaseFault.
    [[nodiscard]] std::optional<QVariant> firstValue(const QString &sql, const QVariantList &values);

    /// Result of a query: column names and all values, row by row.
    struct Snapshot {
        QStringList columns;
        std::vector<QVariant> values;
    };
    [[nodiscard]] Snapshot query(const QString &sql, const QVariantList &values);

    /// Visits the rows of a query one by one and keeps none of them, until visit answers false. visit runs no
    /// statement on this connection. Throws DatabaseFault.
    void scan(const QString &sql, const QVariantList &values,
              const std::function<bool(const Statement &row)> &visit);

    /// Runs an INSERT without its identity, or with it: identityColumn names the column the database numbers.
    void insert(const QString &sql, const QVariantList &values);
    [[nodiscard]] QVariant insertForIdentity(const QString &sql, const QVariantList &values,
                                             const QString &identityColumn);
    /// Changes only the first row, in the database's own order, of those that meet the condition. values:
    /// those of the assignments, then those of the condition.
    void updateFirstRow(const QString &table, const QString &assignments, const QString &condition,
                        const QVariantList &values);

    /// Statements sent to the database since the first open(), beginnings and ends of transactions included.
    [[nodiscard]] qint64 statementsRun() const { return m_statementsRun; }

private:
    friend class Transaction;
    friend class Savepoint;

    template <typename Work>
    auto remembering(Work work);
    void requireUsable();
    template <typename Work>
    auto withStatement(const QString &sql, const QVariantList &values, Work work);
    Statement &prepared(const QString &sql);
    void beginTransaction();
    void commitTransaction();
    void rollbackTransaction() noexcept;
    void giveUp() { m_lost = true; }
    /// Returns the fault that stood in the transaction's way before the savepoint.
    std::optional<DatabaseFault> setSavepoint(const QString &name);
    void releaseSavepoint(const QString &name);
    void rollbackToSavepoint(const QString &name, const std::optional<DatabaseFault> &earlierFault) noexcept;

    std::unique_ptr<Driver> m_driver;
    // Stands after the driver, so that statements go first.
    std::unordered_map<QString, std::unique_ptr<Statement>> m_statements;
    QStringList m_failedStatements;
    bool m_lost = false;
    qint64 m_statementsRun = 0;
    int m_transactionDepth = 0;
    int m_savepoints = 0; // that stand now
    std::optional<DatabaseFault> m_transactionFault;
};
