#include "database/qtsql/MariaDbDriver.h"

#include "database/dialects/SqlDialects.h"

#include <QSqlDriver>
#include <mysql.h>

using namespace Qt::StringLiterals;

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
    const QVariant handle = database.driver()->handle();
    Q_ASSERT(qstrcmp(handle.typeName(), "st_mysql*") == 0);
    return static_cast<int>(mysql_get_socket(*static_cast<MYSQL *const *>(handle.constData())));
}

SqlErrorCode MariaDbDriver::codeOf(const QSqlError &error) const
{
    const int number = error.nativeErrorCode().toInt();
    // Without a number it is Qt's driver that fails to fetch, from a result that is here already: a column
    // was widened since the statement was prepared.
    return {number == 0 ? u"HY000"_s : QString(), number};
}
