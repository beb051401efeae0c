#pragma once

#include "platform/database/DatabaseFault.h"
#include "platform/database/Driver.h"

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
    [[nodiscard]] QString returningClause(const QString &identityColumn) const override;
    [[nodiscard]] QVariant lastIdentity(Statement &insert) override;

    /// What a driver's error means for the connection, told by its native code: Qt's own error type is
    /// unreliable (a constraint and a lock both come as ConnectionError on some drivers).
    [[nodiscard]] virtual DatabaseFault::Kind kindOf(const QSqlError &error) const = 0;
    [[nodiscard]] DatabaseFault fault(const QString &what, const QSqlError &error) const;

protected:
    [[nodiscard]] QSqlDatabase database() const;
    void runPlain(const QString &sql);

private:
    QString m_connectionName;
};
