#pragma once

#include "database/driver/ServerDriver.h"
#include "database/odbc/OdbcHandle.h"
#include "database/odbc/OdbcTarget.h"

/// Any database behind an ODBC driver, through the ODBC C API. SQL Server, PostgreSQL and MariaDB or MySQL
/// are known by what the driver says it is connected to, unless the connection string names the dialect; another
/// system gets plain SQL.
class OdbcDriver final : public ServerDriver
{
public:
    explicit OdbcDriver(OdbcTarget target);
    ~OdbcDriver() override;

    [[nodiscard]] QString identityInsert(const QString &insert, const QString &identityColumn) const override;
    void beforeIdentity(const QString &table, const QString &identityColumn) override;
    [[nodiscard]] QVariant lastIdentity(const Statement &insert, const QString &table,
                                        const QString &identityColumn) override;

    /// Throws DatabaseFault (Lost) when the connection has none to give.
    [[nodiscard]] OdbcHandle newStatementHandle() const;
    /// What a failed call on a statement means. what: the statement's text.
    [[nodiscard]] DatabaseFault faultOf(const QString &what, const OdbcHandle &handle) const;
    /// MariaDB's driver would wait for a result that never comes; PostgreSQL's keeps what it has until then.
    [[nodiscard]] bool closesAfterRefusal() const { return m_target.family != OdbcFamily::MariaDb; }

protected:
    void connect() override;
    [[nodiscard]] QString serverVersion() override;
    void checkSession() override;
    /// A system that we know nothing of is told in ODBC's words; BEGIN means something else to some.
    void beginWriting() override;
    void endWriting(bool isKept) override;
    [[nodiscard]] std::unique_ptr<ServerDriver> another() const override;
    [[nodiscard]] std::unique_ptr<Statement> prepareLine(const QString &sql, const QString &spelled) override;
    [[nodiscard]] QList<QVariantList> plainRows(const QString &sql) override;
    [[nodiscard]] QList<NameResolver::Column> columnsOf(const QString &lowerCaseTable) override;
    /// ODBC drivers end a text at its NUL.
    [[nodiscard]] QChar replacementForNul() const override { return QChar::ReplacementCharacter; }

private:
    [[nodiscard]] QList<QVariantList> rowsBy(const QString &what,
                                             const std::function<SQLRETURN(SQLHSTMT)> &call) const;
    [[nodiscard]] QString information(SQLUSMALLINT kind) const;
    [[nodiscard]] bool isDead() const;
    [[nodiscard]] bool isKnownSystem() const;
    [[nodiscard]] bool takes(const QString &sql);
    void require(SQLRETURN result, const QString &what) const;

    OdbcTarget m_target;
    OdbcHandle m_environment;
    OdbcHandle m_connection;
    bool m_isConnected = false;
    bool m_insertsReturn = false; // an INSERT answers with its identity where it is asked to
    QVariant m_earlierIdentity;
};
