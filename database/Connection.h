#pragma once

#include "database/SessionLocks.h"
#include "database/driver/Driver.h"

#include <QElapsedTimer>
#include <QVariantList>
#include <functional>
#include <optional>
#include <unordered_map>

/// A client-side database connection opened from one connection string.
///
/// Statements are prepared once per text and used again. A connection that was cut while it had nothing to say is opened
/// again at once and goes on as if nothing had been, where nothing was in hand: neither a transaction nor a named lock,
/// nor a statement that writes and had gone out. Any other fault is remembered as long as it matters: once
/// the connection is lost every statement is refused at once until the next open(), and in a transaction in
/// which a statement failed, whoever absorbed the fault, every later one is refused with that fault: the
/// server may have rolled back already, and would run them one by one. Only the rollback is left, of the whole
/// or of the savepoint's step in which it failed.
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
    [[nodiscard]] bool isOpen() const { return m_driver && !m_lost && m_driver->isUsable(); }

    /// As Driver::spareMemory(), for a connection that is open.
    void spareMemory() { m_driver->spareMemory(); }

    /// Keeps the session alive, and its locks with it, while nothing else is asked of the database: one request. Throws
    /// DatabaseFault (Lost) within seconds when the session has gone.
    void ping();

    /// A pass begins: the first row or table that somebody holds is waited for as long as DatabaseLimits::lock, those
    /// after it hardly. Throws DatabaseFault.
    void renewPatience();

    /// Runs a statement with its positional values: a QString is a text, NULL is QVariant(). Returns the number
    /// of rows it found to change; a database that does not tell it is asked for it. Throws DatabaseFault, also
    /// when the number cannot be had.
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

    /// Runs an INSERT whose row count and identity nobody wants.
    void insert(const QString &sql, const QVariantList &values);
    /// Runs an INSERT into this table; the number that the database gave to the row in identityColumn, never
    /// null. Throws DatabaseFault, also when the database does not tell it.
    [[nodiscard]] QVariant insertForIdentity(const QString &table, const QString &sql,
                                             const QVariantList &values, const QString &identityColumn);
    /// Changes the first row, in the database's own order, of those that meet the condition; foundRows of them
    /// were there when they were read. values: those of the assignments, then those of the condition. Throws
    /// DatabaseFault, also when there is none any more.
    void updateFirstRow(const QString &table, const QString &assignments, const QString &condition,
                        const QVariantList &assigned, const QVariantList &compared, int foundRows);

    /// A table in a query that passes over rows which somebody holds, on databases where a reader would wait for them.
    /// Throws DatabaseFault.
    [[nodiscard]] QString pastHeldRows(const QString &table);

    /// The names of the tables without transactions, in lower case. Throws DatabaseFault.
    [[nodiscard]] QStringList tablesWithoutTransactions();

    /// Has each session of a database without locks of its own, from the next open() on, bring those that lend makes.
    void setLentLocks(std::function<std::unique_ptr<SessionLocks>()> lend) { m_lend = std::move(lend); }

    /// Takes this session's place among the servers that work on the database, for as long as the session lasts: beside
    /// others that share, or alone. False while one of the other kind is there, or another one alone. True where the
    /// database has no session locks, or refuses them. Throws DatabaseFault.
    [[nodiscard]] bool takePlace(bool isShared);

    /// The tables in which characters that the database cannot hold have been replaced by "?" since this was last
    /// asked.
    [[nodiscard]] QStringList takeReplacedTables()
    {
        return m_driver ? m_driver->takeReplacedTables() : QStringList();
    }

    /// Statements sent to the database since the first open(), beginnings and ends of transactions included.
    [[nodiscard]] qint64 statementsRun() const { return m_statementsRun; }

private:
    friend class NamedLock;
    friend class Transaction;
    friend class Savepoint;

    template <typename Work>
    auto remembering(Work work);
    void requireUsable();
    /// Opens anew what was cut while it was idle. False when something was in hand, or it cannot be opened.
    [[nodiscard]] bool resume();
    /// Runs a piece of work that may run twice: once more after a connection that was cut while it was idle.
    template <typename Work>
    decltype(auto) resuming(bool isRepeatable, Work work);
    [[nodiscard]] bool tryPlace(bool isShared);
    void leavePlace() noexcept;
    void setPatience(bool isPatient);
    [[nodiscard]] DatabaseFault remembered(const DatabaseFault &fault);
    template <typename Work>
    auto withStatement(const QString &sql, const QVariantList &values, Work work);
    Statement &prepared(const QString &sql);
    void forgetFailedStatements();
    void beginTransaction();
    void commitTransaction();
    void rollbackTransaction() noexcept;
    void giveUp() { m_lost = true; }
    /// Returns the fault that stood in the transaction's way before the savepoint.
    std::optional<DatabaseFault> setSavepoint(const QString &name);
    void releaseSavepoint(const QString &name);
    void rollbackToSavepoint(const QString &name, const std::optional<DatabaseFault> &earlierFault) noexcept;

    QString m_connectionString;
    QString m_lostSession; // mark of one that the server may take for alive
    std::unique_ptr<Driver> m_driver;
    // Stands after the driver, so that statements go first.
    std::unordered_map<QString, std::unique_ptr<Statement>> m_statements;
    QStringList m_failedStatements;
    std::function<std::unique_ptr<SessionLocks>()> m_lend;
    std::unique_ptr<SessionLocks> m_lentLocks;
    bool m_lost = false;
    qint64 m_session = 0;           // number of this one
    int m_namedLocks = 0;           // held by it
    std::optional<bool> m_place;    // that it has; shared?
    bool m_hasEndedSession = false; // that was lost before this one
    QElapsedTimer m_sinceAnswer;    // invalid before the first
    bool m_isPatient = true;        // waits for locks
    bool m_hasMetLock = false;
    qint64 m_statementsRun = 0;
    int m_transactionDepth = 0;
    int m_savepoints = 0;                            // that are open now
    std::optional<DatabaseFault> m_transactionFault; // that refuses what follows
    bool m_isTransactionOver = false;                // the server has rolled it back
};
