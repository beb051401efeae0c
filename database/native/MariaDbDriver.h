#pragma once

#include "database/driver/ServerDriver.h"
#include "database/native/ServerTarget.h"

#include <mysql.h>

/// MariaDB and MySQL by MariaDB's own client library.
class MariaDbDriver final : public ServerDriver
{
public:
    explicit MariaDbDriver(ServerTarget target);
    ~MariaDbDriver() override { forgetQuestions(); }

protected:
    void connect() override;
    [[nodiscard]] std::unique_ptr<Statement> prepareLine(const QString &sql, const QString &spelled) override;
    [[nodiscard]] QList<QVariantList> plainRows(const QString &sql) override;

private:
    struct Close {
        void operator()(MYSQL *connection) const { mysql_close(connection); }
    };

    [[nodiscard]] bool mustBeEncrypted() const;
    void require(bool isDone, const QString &sql) const;

    ServerTarget m_target;
    std::unique_ptr<MYSQL, Close> m_connection;
};
