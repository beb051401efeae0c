#pragma once

#include "tests/support/PrivateDatabaseServer.h"

#include <QStringList>
#include <array>
#include <span>

/// The ways to a database that the program supports and this machine can try.
enum class DatabaseRoute {
    PostgreSql,
    MariaDb,
    PostgreSqlOdbc,
    MariaDbOdbc,
    Sqlite,
    OtherOdbc ///< SQLite through ODBC: a system that the program knows nothing of
};
inline constexpr std::array databaseRoutes{
    std::pair("PostgreSQL", DatabaseRoute::PostgreSql),
    std::pair("MariaDB", DatabaseRoute::MariaDb),
    std::pair("PostgreSQL through ODBC", DatabaseRoute::PostgreSqlOdbc),
    std::pair("MariaDB through ODBC", DatabaseRoute::MariaDbOdbc),
    std::pair("SQLite", DatabaseRoute::Sqlite),
    std::pair("another system through ODBC", DatabaseRoute::OtherOdbc)};
inline constexpr std::span serverRoutes = std::span(databaseRoutes).first<4>();

[[nodiscard]] constexpr bool isPostgreSql(DatabaseRoute route)
{
    return route == DatabaseRoute::PostgreSql || route == DatabaseRoute::PostgreSqlOdbc;
}
[[nodiscard]] constexpr bool isMariaDb(DatabaseRoute route)
{
    return route == DatabaseRoute::MariaDb || route == DatabaseRoute::MariaDbOdbc;
}
[[nodiscard]] constexpr bool isOdbc(DatabaseRoute route)
{
    return route == DatabaseRoute::PostgreSqlOdbc || route == DatabaseRoute::MariaDbOdbc ||
           route == DatabaseRoute::OtherOdbc;
}

/// A test's data: a row for each of these cases, in the column "how", on each of these routes.
void addRoutes(std::span<const std::pair<const char *, DatabaseRoute>> routes = databaseRoutes,
               const QStringList &cases = {QString()});
/// The one that the current row names in the column "route".
[[nodiscard]] DatabaseRoute currentRoute();

/// The private server of a route, not SQLite. Each system has one in a test program, which starts when it is
/// first asked for and ends with the application.
[[nodiscard]] PrivateDatabaseServer &serverOf(DatabaseRoute route);
