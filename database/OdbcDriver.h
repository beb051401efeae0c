#pragma once

#include "database/ConnectionTarget.h"
#include "database/DatabaseFault.h"
#include "database/DeadlineGuard.h"
#include "database/Driver.h"
#include "database/LenientSession.h"
#include "database/NameResolver.h"
#include "database/OdbcHandle.h"

#include <optional>
#include <unordered_map>

/// Any database behind an ODBC driver, through the ODBC C API. SQL Server, PostgreSQL and MariaDB or MySQL
/// are known by what the driver says it is connected to; another system gets plain SQL.
class OdbcDriver final : public Driver
{
public:
    explicit OdbcDriver(OdbcTarget target);
    ~OdbcDriver() override;

    void open() override;
    [[nodiscard]] bool isUsable() const override { return true; }
    [[nodiscard]] std::unique_ptr<Statement> prepare(const QString &sql) override;
    void begin() override;
    void commit() override;
    void rollback() noexcept override;
    void setSavepoint(const QString &name) override;
    void releaseSavepoint(const QString &name) override;
    void rollbackToSavepoint(const QString &name) override;
    void closing() noexcept override;
    [[nodiscard]] QString identityInsert(const QString &insert, const QString &identityColumn) const override;
    void beforeIdentity(const QString &table, const QString &identityColumn) override;
    [[nodiscard]] QVariant lastIdentity(Statement &insert, const QString &table,
                                        const QString &identityColumn) override;
    [[nodiscard]] bool hasTransactionEnded() override;
    [[nodiscard]] qint64 lastRowCount() override;
    [[nodiscard]] QString lockOfRows(const QString &table, const QString &condition) const override;
    [[nodiscard]] QString updateOfFirstRow(const QString &table, const QString &assignments,
                                           const QString &condition) const override;

    [[nodiscard]] const SqlDialect *dialectOfServer() const override { return m_dialect.get(); }

    // For its statements.
    [[nodiscard]] const SqlDialect &dialect() const { return *m_dialect; }
    /// Throws DatabaseFault (Lost) when the connection has none to give.
    [[nodiscard]] OdbcHandle newStatementHandle() const;
    [[nodiscard]] LenientSession &lenientSession() { return m_lenient; }
    [[nodiscard]] DeadlineGuard::Watch watch(qint64 payloadOctets);
    /// Throws DatabaseFault (Refused) for values that the server would cut the connection for.
    void requireCarriable(qint64 payloadOctets) const;
    /// What a failed call on a statement or connection means. what: the statement's text.
    [[nodiscard]] DatabaseFault fault(const QString &what, const OdbcHandle &handle) const;
    /// The fault with the columns named that a value was too long for, where they can be told.
    [[nodiscard]] DatabaseFault explained(const DatabaseFault &fault, const QString &sql,
                                          const QVariantList &values);

private:
    void connect();
    void recogniseServer();
    void setUpSession();
    void runPlain(const QString &sql);
    [[nodiscard]] QString information(SQLUSMALLINT kind) const;
    /// The one value that a question of our own is answered with.
    [[nodiscard]] QVariant answer(const QString &question, const QVariantList &values = {});
    [[nodiscard]] bool isDead() const;
    [[nodiscard]] QList<LenientSession::Warning> warnings(const QString &query);
    [[nodiscard]] QList<NameResolver::Column> columnsOf(const QString &lowerCaseTable);

    OdbcTarget m_target;
    OdbcHandle m_environment;
    OdbcHandle m_connection;
    bool m_isConnected = false;
    std::unique_ptr<SqlDialect> m_dialect;
    DeadlineGuard m_guard;
    std::optional<DeadlineGuard::Watch> m_closing;
    NameResolver m_names;
    std::unique_ptr<Statement> m_columnsQuery;
    std::unordered_map<QString, std::unique_ptr<Statement>> m_questions; // of our own, by text
    QVariant m_earlierIdentity;
    LenientSession m_lenient{*this, [this](const QString &query) { return warnings(query); }};
    qint64 m_maximumPayload = 0; // 0: no limit known
};
