#pragma once

#include "database/DatabaseFault.h"
#include "database/Driver.h"

#include <QSqlDatabase>
#include <QSqlError>

/// What the drivers on QtSql have in common.
class QtSqlDriver : public Driver
{
public:
    explicit QtSqlDriver(const QString &qtDriver);
    ~QtSqlDriver() override;

    [[nodiscard]] std::unique_ptr<Statement> prepare(const QString &sql) override;
    void begin() override;
    void commit() override;
    void rollback() noexcept override;
    void setSavepoint(const QString &name) override;
    void releaseSavepoint(const QString &name) override;
    void rollbackToSavepoint(const QString &name) override;
    [[nodiscard]] QString identityInsert(const QString &insert, const QString &identityColumn) const override;
    [[nodiscard]] QVariant lastIdentity(Statement &insert, const QString &table,
                                        const QString &identityColumn) override;

    /// What a driver's error means for the connection, told by its native code: Qt's own error type is
    /// unreliable (a constraint and a lock both come as ConnectionError on some drivers).
    [[nodiscard]] virtual DatabaseFault::Kind kindOf(const QSqlError &error) const = 0;
    [[nodiscard]] virtual DatabaseFault fault(const QString &what, const QSqlError &error) const;
    /// False when a query's whole result is taken at once, so that only its execution waits for the database.
    [[nodiscard]] virtual bool readsRowByRow() const { return true; }
    /// A statement that is no query has been executed, and took this long.
    virtual void hasWritten(qint64 /*nanoseconds*/) {}

protected:
    [[nodiscard]] QSqlDatabase database() const;
    virtual void runPlain(const QString &sql);
    /// The database's words for an error, on one line, with its code.
    [[nodiscard]] static QString causeOf(const QSqlError &error);

private:
    QString m_connectionName;
};
