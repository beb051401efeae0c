#pragma once

#include "database/Recordset.h"
#include "tests/support/TestDatabase.h"

#include <QTest>
#include <array>
#include <functional>
#include <optional>

/// The fault that some work ends with.
inline std::optional<DatabaseFault> faultOf(const std::function<void()> &work)
{
    try {
        work();
    } catch (const DatabaseFault &fault) {
        return fault;
    }
    return std::nullopt;
}

inline std::optional<DatabaseFault::Kind> kindOf(const std::function<void()> &work)
{
    const auto fault = faultOf(work);
    return fault ? std::optional(fault->kind()) : std::nullopt;
}

/// For rows that cross routes with something else.
inline constexpr std::array namedRoutes{std::pair("SQLite", DatabaseRoute::Sqlite),
                                        std::pair("PostgreSQL", DatabaseRoute::PostgreSql),
                                        std::pair("MariaDB", DatabaseRoute::MariaDb),
                                        std::pair("PostgreSQL through ODBC", DatabaseRoute::PostgreSqlOdbc),
                                        std::pair("MariaDB through ODBC", DatabaseRoute::MariaDbOdbc)};

/// A database on the row's route and the program's connection to it.
struct RoutedOffice {
    explicit RoutedOffice(TestServers &servers, const QString &extraKeys = {})
        : RoutedOffice(servers, extraKeys, currentRoute())
    {
    }
    RoutedOffice(TestServers &servers, const QString &extraKeys, DatabaseRoute route,
                 const QString &databaseOptions = {})
        : database(servers, route, databaseOptions)
    {
        connection.open(database.connectString() + extraKeys);
    }

    static DatabaseRoute currentRoute()
    {
        QFETCH(DatabaseRoute, route);
        return route;
    }

    void append(const QString &table, const QList<std::pair<QLatin1String, QVariant>> &values)
    {
        Recordset row(connection);
        row.openForAppend(table);
        row.addNew();
        for (const auto &[column, value] : values)
            row.set(column, value);
        row.update();
    }

    [[nodiscard]] bool keepsNul() const
    {
        return database.route() == DatabaseRoute::Sqlite || database.route() == DatabaseRoute::MariaDb;
    }

    TestDatabase database;
    Connection connection;
};
