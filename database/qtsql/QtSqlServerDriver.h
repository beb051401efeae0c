#pragma once

#include "database/driver/ServerDriver.h"
#include "database/qtsql/QtSqlLine.h"
#include "database/qtsql/ServerTarget.h"

/// A database server behind one of QtSql's drivers.
class QtSqlServerDriver : public ServerDriver, protected QtSqlLine
{
public:
    QtSqlServerDriver(const QString &qtDriver, ServerTarget target, std::unique_ptr<SqlDialect> dialect);
    ~QtSqlServerDriver() override;

protected:
    [[nodiscard]] const ServerTarget &target() const { return m_target; }
    void connect() override;
    [[nodiscard]] QString serverVersion() final;
    void execPlain(const QString &sql) final { exec(sql); }
    [[nodiscard]] std::unique_ptr<Statement> prepareLine(const QString &sql, const QString &spelled) override;
    [[nodiscard]] QList<QVariantList> plainRows(const QString &sql, int columns) final;
    [[nodiscard]] DatabaseFault fault(const QString &what, const QSqlError &error) const final;
    [[nodiscard]] bool readsRowByRow() const final { return false; }

    /// Sets host and options, this driver's own way.
    virtual void configure(QSqlDatabase &database) const = 0;
    /// The open connection's socket, from the driver's own handle.
    [[nodiscard]] virtual int socket(const QSqlDatabase &database) const = 0;
    [[nodiscard]] virtual SqlErrorCode codeOf(const QSqlError &error) const = 0;

private:
    ServerTarget m_target;
};
