#pragma once

#include "database/driver/SqlDialect.h"

[[nodiscard]] std::unique_ptr<SqlDialect> sqliteDialect();
[[nodiscard]] std::unique_ptr<SqlDialect> postgreSqlDialect();
/// MariaDB and MySQL.
[[nodiscard]] std::unique_ptr<SqlDialect> mariaDbDialect();
[[nodiscard]] std::unique_ptr<SqlDialect> sqlServerDialect();
