#pragma once

#include "database/driver/SqlDialect.h"

#include <QString>
#include <QVariantList>
#include <memory>

/// One prepared statement of a driver. Parameters are positional question marks.
class Statement
{
public:
    Statement() = default;
    virtual ~Statement() = default;
    Statement(const Statement &) = delete;
    Statement &operator=(const Statement &) = delete;

    /// Runs the statement with these values (an invalid or null QVariant is NULL). Throws DatabaseFault.
    virtual void execute(const QVariantList &values) = 0;
    /// Steps to the next row of a query's result; false at its end.
    [[nodiscard]] virtual bool next() = 0;
    [[nodiscard]] virtual QVariant value(int column) const = 0;
    [[nodiscard]] virtual QStringList columnNames() const = 0;
    /// Rows that the last execute() found to change; -1 when the database did not tell.
    [[nodiscard]] virtual qint64 affectedRows() const = 0;
    /// The identity that the driver tells of the INSERT last executed; null when it does not.
    [[nodiscard]] virtual QVariant lastIdentity() const { return {}; }
    /// Lets go of the result, so that no lock of it remains.
    virtual void finish() noexcept = 0;
};

/// What one kind of database needs done its own way.
/// Everything else is done above, in Connection and Recordset.
class Driver
{
public:
    Driver() = default;
    virtual ~Driver() = default;
    Driver(const Driver &) = delete;
    Driver &operator=(const Driver &) = delete;

    /// Throws DatabaseFault (Lost) when the database cannot be reached or refuses the login.
    virtual void open() = 0;
    /// Asked before each piece of work: false when the database under the connection is known to be gone.
    [[nodiscard]] virtual bool isUsable() const = 0;

    /// True once a time limit has cut the connection.
    [[nodiscard]] virtual bool hasTimedOut() const { return false; }
    /// Has the server see that its session is alive. Throws DatabaseFault (Lost) within seconds when it is not.
    virtual void ping() {}
    /// What the server knows this session by, as endSession() takes it; "" where it knows none.
    [[nodiscard]] virtual QString sessionMark() const { return {}; }
    /// Has the server end an earlier session of ours that it may take for alive, and with it its locks.
    virtual void endSession(const QString & /*mark*/) noexcept {}
    /// From now on the server ends this session, and its locks, when nothing has come from it for a minute, where it
    /// would not notice by itself that the machine has gone. Throws DatabaseFault.
    virtual void limitSilence() {}

    [[nodiscard]] virtual std::unique_ptr<Statement> prepare(const QString &sql) = 0;
    /// What the database system needs said its own way.
    [[nodiscard]] virtual const SqlDialect &dialect() const = 0;

    /// How long rows and tables that somebody holds are waited for from now on. Throws DatabaseFault.
    void setLockLimit(std::chrono::milliseconds limit);

    /// Begins a transaction that will write.
    virtual void begin();
    virtual void commit();
    void rollback() noexcept;
    /// Sets the savepoint of this name inside a transaction, lets it go or rolls back to it, as the verb says. Where
    /// there are none only the last is refused. Throws DatabaseFault.
    void step(QString SystemTraits::*verb, const QString &name);
    /// For the rows of large mails: what a transaction changes is written as it grows, which may keep others out
    /// for longer, and is not held in memory until its commit.
    virtual void spareMemory() {}
    /// The connection and its statements are about to go: from now on nothing may wait long for the database.
    virtual void closing() noexcept {}

    /// Asked after a fault: true when the server has rolled the whole transaction back, so that what follows
    /// would run outside one. False where that is not known; the commit or the rollback to a savepoint tells.
    [[nodiscard]] virtual bool hasTransactionEnded() { return false; }
    /// Asks for the row count of the statement just executed, which did not tell it. Throws DatabaseFault.
    [[nodiscard]] virtual qint64 lastRowCount();

    /// The INSERT as a statement that answers with the new identity as its one row, or the INSERT itself when
    /// lastIdentity() tells it afterwards.
    [[nodiscard]] virtual QString identityInsert(const QString &insert, const QString &identityColumn) const;
    /// Called before an INSERT whose identity lastIdentity() is to tell.
    virtual void beforeIdentity(const QString & /*table*/, const QString & /*identityColumn*/) {}
    /// The identity that the statement just executed was given; null when it was given none.
    [[nodiscard]] virtual QVariant lastIdentity(const Statement &insert, const QString & /*table*/,
                                                const QString & /*identityColumn*/)
    {
        return insert.lastIdentity();
    }
    /// The tables in which characters that the database cannot hold were replaced, since this was last asked.
    [[nodiscard]] virtual QStringList takeReplacedTables() { return {}; }

    /// Servers that take this database's writes, each with locks of its own, as far as it tells.
    [[nodiscard]] virtual int clusterSize() { return 1; }

protected:
    virtual void beginWriting();
    virtual void endWriting(bool isKept);
    /// Runs a statement of ours without values. Throws DatabaseFault.
    virtual void runPlain(const QString &sql) = 0;
    /// What an error means, told by its code. what: the statement. words: the database's own.
    [[nodiscard]] DatabaseFault faultOf(const QString &what, const SqlErrorCode &code,
                                        const QString &words) const;
    [[nodiscard]] bool isInTransaction() const { return m_isInTransaction; }

private:
    bool m_isInTransaction = false;
};
