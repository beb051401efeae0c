#include "database/qtsql/PostgreSqlDriver.h"

#include "database/dialects/SqlDialects.h"
#include "database/qtsql/PostgreSqlInsert.h"

#include <QSqlDriver>
#include <libpq-fe.h>

using namespace Qt::StringLiterals;

namespace
{

/// As libpq's connection strings quote a value.
QString conninfoValue(QString value)
{
    return u'\'' + value.replace(u'\\', R"(\\)"_L1).replace(u'\'', R"(\')"_L1) + u'\'';
}

PGconn *nativeConnection(const QSqlDatabase &database)
{
    const QVariant handle = database.driver()->handle();
    Q_ASSERT(qstrcmp(handle.typeName(), "pg_conn*") == 0);
    return *static_cast<PGconn *const *>(handle.constData());
}

} // namespace

PostgreSqlDriver::PostgreSqlDriver(ServerTarget target)
    : QtSqlServerDriver(u"QPSQL"_s, std::move(target), postgreSqlDialect())
{
}

void PostgreSqlDriver::configure(QSqlDatabase &database) const
{
    database.setHostName(target().host);
    QString options =
        u"connect_timeout=%1;application_name=sms-server"_s.arg(target().limits.connect.count());
    if (m_asksForPlainBackslashes)
        options += ";options=-cstandard_conforming_strings=on"_L1;
    if (!target().sslMode.isEmpty())
        options += ";sslmode="_L1 + target().sslMode;
    if (!target().certificateAuthority.isEmpty())
        options += ";sslrootcert="_L1 + conninfoValue(target().certificateAuthority);
    database.setConnectOptions(options);
}

/// Qt's driver quotes texts for the whole session as the login finds it. Only where that is not our way it is asked for
/// at the login: not every pool lets one ask.
void PostgreSqlDriver::connect()
{
    QtSqlServerDriver::connect();
    if (qstrcmp(PQparameterStatus(nativeConnection(database()), "standard_conforming_strings"), "off") != 0)
        return;
    m_asksForPlainBackslashes = true;
    database().close();
    QtSqlServerDriver::connect();
}

int PostgreSqlDriver::socket(const QSqlDatabase &database) const
{
    return PQsocket(nativeConnection(database));
}

/// A pool tells a number of its own for cancelling.
bool PostgreSqlDriver::mayBePooled(int sessionNumber) const
{
    return PQbackendPID(nativeConnection(database())) != sessionNumber;
}

void PostgreSqlDriver::checkSession()
{
    if (plainValue(u"show standard_conforming_strings"_s).toString() != "on"_L1)
        throw DatabaseFault(
            DatabaseFault::Kind::Lost,
            u"数据库服务器 %1 不允许启用 standard_conforming_strings，无法安全使用"_s.arg(target().host));
}

SqlErrorCode PostgreSqlDriver::codeOf(const QSqlError &error) const
{
    return {error.nativeErrorCode(), 0};
}

std::unique_ptr<Statement> PostgreSqlDriver::prepareLine(const QString &sql, const QString &spelled)
{
    if (sql.startsWith("insert"_L1, Qt::CaseInsensitive) && !sql.contains(" returning "_L1))
        return std::make_unique<PostgreSqlInsert>(line(), nativeConnection(database()), sql, spelled);
    return QtSqlServerDriver::prepareLine(sql, spelled);
}
