#include "tests/support/DatabaseRoute.h"

#include <QCoreApplication>
#include <QTest>
#include <memory>

void addRoutes(std::span<const std::pair<const char *, DatabaseRoute>> routes)
{
    QTest::addColumn<DatabaseRoute>("route");
    for (const auto &[name, route] : routes)
        QTest::newRow(name) << route;
}

DatabaseRoute currentRoute()
{
    QFETCH(DatabaseRoute, route);
    return route;
}

PrivateDatabaseServer &serverOf(DatabaseRoute route)
{
    using System = PrivateDatabaseServer::System;
    Q_ASSERT(isPostgreSql(route) || isMariaDb(route));
    static std::array<std::unique_ptr<PrivateDatabaseServer>, 2> servers;
    auto &server = servers[isPostgreSql(route)];
    if (!server) {
        server = std::make_unique<PrivateDatabaseServer>(isPostgreSql(route) ? System::PostgreSql
                                                                             : System::MariaDb);
        qAddPostRoutine([] { servers = {}; });
    }
    return *server;
}
