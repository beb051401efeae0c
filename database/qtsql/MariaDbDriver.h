#pragma once

#include "database/qtsql/QtSqlServerDriver.h"

/// MariaDB and MySQL.
class MariaDbDriver final : public QtSqlServerDriver
{
public:
    explicit MariaDbDriver(ServerTarget target);

protected:
    void configure(QSqlDatabase &database) const override;
    [[nodiscard]] int socket(const QSqlDatabase &database) const override;
    [[nodiscard]] std::unique_ptr<Statement> prepareLine(const QString &sql, const QString &spelled) override;
    [[nodiscard]] SqlErrorCode codeOf(const QSqlError &error) const override;
};
