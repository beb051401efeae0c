#include "tests/support/DatabaseRoute.h"

#include "tests/support/TextTable.h"

#include <QCoreApplication>
#include <algorithm>
#include <memory>

using namespace Qt::StringLiterals;

void addRoutes(std::span<const std::pair<const char *, DatabaseRoute>> routes, const QStringList &cases)
{
    QTest::addColumn<TextRow>("row");
    for (const auto &[route, unused] : routes) {
        for (const QString &how : cases)
            QTest::addRow("%s%s", qPrintable(how.isEmpty() ? how : how + u", "_s), route)
                << TextRow{{u"route"_s, QString::fromLatin1(route)}, {u"how"_s, how}};
    }
}

DatabaseRoute currentRoute()
{
    const auto name = [](const auto &route) { return QString::fromLatin1(route.first); };
    return std::ranges::find(databaseRoutes, cell("route"), name)->second;
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
