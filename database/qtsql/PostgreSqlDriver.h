#pragma once

#include "database/qtsql/QtSqlServerDriver.h"

/// PostgreSQL. A NUL, which it cannot store in a text, becomes U+FFFD.
class PostgreSqlDriver final : public QtSqlServerDriver
{
public:
    explicit PostgreSqlDriver(ServerTarget target);

protected:
    void connect() override;
    void configure(QSqlDatabase &database) const override;
    [[nodiscard]] int socket(const QSqlDatabase &database) const override;
    void checkSession() override;
    [[nodiscard]] std::unique_ptr<ServerDriver> another() const override
    {
        return std::make_unique<PostgreSqlDriver>(target());
    }
    [[nodiscard]] bool mayBePooled(int sessionNumber) const override;
    [[nodiscard]] SqlErrorCode codeOf(const QSqlError &error) const override;
    [[nodiscard]] std::unique_ptr<Statement> prepareLine(const QString &sql, const QString &spelled) override;

private:
    bool m_asksForPlainBackslashes = false;
};
