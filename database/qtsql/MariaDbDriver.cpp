#include "database/qtsql/MariaDbDriver.h"

#include "database/dialects/SqlDialects.h"
#include "database/qtsql/MariaDbStatement.h"

#include <QSqlDriver>

using namespace Qt::StringLiterals;

namespace
{

MYSQL *nativeConnection(const QSqlDatabase &database)
{
    const QVariant handle = database.driver()->handle();
    Q_ASSERT(qstrcmp(handle.typeName(), "st_mysql*") == 0);
    return *static_cast<MYSQL *const *>(handle.constData());
}

} // namespace

MariaDbDriver::MariaDbDriver(ServerTarget target)
    : QtSqlServerDriver(u"QMYSQL"_s, std::move(target), mariaDbDialect())
{
}

void MariaDbDriver::configure(QSqlDatabase &database) const
{
    // An UPDATE tells how many rows it found, whether or not they had the value before.
    QString options =
        u"MYSQL_OPT_CONNECT_TIMEOUT=%1;CLIENT_FOUND_ROWS=1"_s.arg(target().limits.connect.count());
    if (target().host.startsWith(u'/'))
        options += ";UNIX_SOCKET="_L1 + target().host;
    else
        database.setHostName(target().host);
    database.setConnectOptions(options);
}

int MariaDbDriver::socket(const QSqlDatabase &database) const
{
    return static_cast<int>(mysql_get_socket(nativeConnection(database)));
}

std::unique_ptr<Statement> MariaDbDriver::prepareLine(const QString &sql, const QString &spelled)
{
    return std::make_unique<MariaDbStatement>(line(), nativeConnection(database()), sql, spelled);
}

SqlErrorCode MariaDbDriver::codeOf(const QSqlError &error) const
{
    return {{}, error.nativeErrorCode().toInt()};
}
