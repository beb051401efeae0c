#pragma once

#include "database/ConnectionTarget.h"
#include "database/DeadlineGuard.h"
#include "database/LenientSession.h"
#include "database/NameResolver.h"
#include "database/QtSqlDriver.h"
#include "database/SqlDialect.h"

#include <optional>

/// What the drivers for database servers on QtSql have in common: time limits, a session set up to our wants,
/// names in the server's own spelling, values in forms that every column kind takes.
class QtSqlServerDriver : public QtSqlDriver
{
public:
    QtSqlServerDriver(const QString &qtDriver, ServerTarget target, std::unique_ptr<SqlDialect> dialect);
    ~QtSqlServerDriver() override;

    void open() final;
    /// A server that is gone is noticed by the statement that fails.
    [[nodiscard]] bool isUsable() const override { return true; }
    [[nodiscard]] std::unique_ptr<Statement> prepare(const QString &sql) override;
    void begin() override;
    void commit() override;
    void rollback() noexcept override;
    void closing() noexcept override;
    [[nodiscard]] QString identityInsert(const QString &insert, const QString &identityColumn) const override;
    [[nodiscard]] QString updateOfFirstRow(const QString &table, const QString &assignments,
                                           const QString &condition) const override;
    [[nodiscard]] QString lockOfRows(const QString &table, const QString &condition) const override;
    [[nodiscard]] const SqlDialect *dialectOfServer() const override { return m_dialect.get(); }
    [[nodiscard]] DatabaseFault::Kind kindOf(const QSqlError &error) const override;
    [[nodiscard]] DatabaseFault fault(const QString &what, const QSqlError &error) const override;
    [[nodiscard]] bool readsRowByRow() const override { return false; }

protected:
    [[nodiscard]] const ServerTarget &target() const { return m_target; }
    void runPlain(const QString &sql) override;
    /// Sets host and options, this driver's own way.
    virtual void configure(QSqlDatabase &database) const = 0;
    /// The open connection's socket, from the driver's own handle.
    [[nodiscard]] virtual int socket(const QSqlDatabase &database) const = 0;
    /// Throws DatabaseFault when the session, set up as far as the server let us, is not fit for use.
    virtual void checkSession() {}
    [[nodiscard]] virtual SqlErrorCode codeOf(const QSqlError &error) const = 0;
    [[nodiscard]] QVariant plainValue(const QString &sql);

private:
    friend class QtSqlServerStatement;

    [[nodiscard]] QList<LenientSession::Warning> warnings(const QString &query);
    [[nodiscard]] QList<NameResolver::Column> columnsOf(const QString &lowerCaseTable);

    ServerTarget m_target;
    std::unique_ptr<SqlDialect> m_dialect;
    DeadlineGuard m_guard;
    std::optional<DeadlineGuard::Watch> m_closing;
    NameResolver m_names;
    std::unique_ptr<Statement> m_columnsQuery;
    LenientSession m_lenient{*this, [this](const QString &query) { return warnings(query); }};
    qint64 m_maximumPayload = 0; // 0: no limit known
};
