#pragma once

#include "database/driver/ServerDriver.h"
#include "database/native/ServerTarget.h"

#include <libpq-fe.h>

/// PostgreSQL by libpq. A NUL, which it cannot store in a text, becomes U+FFFD.
class PostgreSqlDriver final : public ServerDriver
{
public:
    explicit PostgreSqlDriver(ServerTarget target);
    ~PostgreSqlDriver() override { forgetQuestions(); }

protected:
    void connect() override;
    [[nodiscard]] std::unique_ptr<ServerDriver> another() const override
    {
        return std::make_unique<PostgreSqlDriver>(m_target);
    }
    /// A pool tells a number of its own for cancelling.
    [[nodiscard]] bool mayBePooled(int sessionNumber) const override
    {
        return PQbackendPID(m_connection.get()) != sessionNumber;
    }
    [[nodiscard]] std::unique_ptr<Statement> prepareLine(const QString &sql, const QString &spelled) override;
    [[nodiscard]] QList<QVariantList> plainRows(const QString &sql) override;

private:
    struct Finish {
        void operator()(PGconn *connection) const { PQfinish(connection); }
    };

    ServerTarget m_target;
    std::unique_ptr<PGconn, Finish> m_connection;
};
