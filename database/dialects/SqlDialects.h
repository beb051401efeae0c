#pragma once

#include "database/driver/SqlDialect.h"

[[nodiscard]] std::unique_ptr<SqlDialect> postgreSqlDialect();
/// MariaDB and MySQL.
[[nodiscard]] std::unique_ptr<SqlDialect> mariaDbDialect();
[[nodiscard]] std::unique_ptr<SqlDialect> sqlServerDialect();
/// A system we know nothing of but that it speaks SQL. Offers no identity.
[[nodiscard]] std::unique_ptr<SqlDialect> standardSqlDialect();
