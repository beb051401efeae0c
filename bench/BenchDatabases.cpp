#include "bench/HardTimes.h"
#include "bench/RoadBench.h"

#include <QCoreApplication>

using namespace Qt::StringLiterals;

namespace
{

constexpr int recipients = 1000;
constexpr int runs = 3;

} // namespace

/// Prints each figure beside its limit. Exit status 1 when one is missed. With the argument "hard" only what
/// a pass has to bear.
int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    bool holds = true;
    const bool isHardOnly = QCoreApplication::arguments().contains(u"hard"_s);
    for (const auto &[route, name] : {std::pair(DatabaseRoute::Sqlite, u"SQLite"_s),
                                      std::pair(DatabaseRoute::PostgreSql, u"PostgreSQL"_s),
                                      std::pair(DatabaseRoute::MariaDb, u"MariaDB"_s),
                                      std::pair(DatabaseRoute::PostgreSqlOdbc, u"PostgreSQL through ODBC"_s),
                                      std::pair(DatabaseRoute::MariaDbOdbc, u"MariaDB through ODBC"_s)})
        holds = (isHardOnly || benchRoad(route, name, recipients, runs)) && holds;
    for (const auto &[route, name] : {std::pair(DatabaseRoute::Sqlite, u"SQLite"_s),
                                      std::pair(DatabaseRoute::PostgreSql, u"PostgreSQL"_s),
                                      std::pair(DatabaseRoute::MariaDb, u"MariaDB"_s)})
        holds = benchSetAside(route, name) && holds;
    return holds ? 0 : 1;
}
