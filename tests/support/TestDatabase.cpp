#include "tests/support/TestDatabase.h"

#include "database/BoundValue.h"

#include <QFile>
#include <QRegularExpression>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

QString shown(const QVariant &value)
{
    if (value.isNull())
        return u"NULL"_s;
    return value.typeId() == QMetaType::QDateTime
               ? value.toDateTime().toLocalTime().toString(u"yyyy-MM-dd HH:mm:ss"_s)
               : value.toString();
}

} // namespace

void addServerRoutes()
{
    QTest::addColumn<DatabaseRoute>("route");
    QTest::newRow("PostgreSQL") << DatabaseRoute::PostgreSql;
    QTest::newRow("MariaDB") << DatabaseRoute::MariaDb;
    QTest::newRow("PostgreSQL through ODBC") << DatabaseRoute::PostgreSqlOdbc;
    QTest::newRow("MariaDB through ODBC") << DatabaseRoute::MariaDbOdbc;
}

void addDatabaseRoutes()
{
    addServerRoutes();
    QTest::newRow("SQLite") << DatabaseRoute::Sqlite;
    QTest::newRow("another system through ODBC") << DatabaseRoute::OtherOdbc;
}

PrivateDatabaseServer &TestServers::of(DatabaseRoute route)
{
    Q_ASSERT(route != DatabaseRoute::Sqlite && route != DatabaseRoute::OtherOdbc);
    const bool isPostgreSql = route == DatabaseRoute::PostgreSql || route == DatabaseRoute::PostgreSqlOdbc;
    auto &server = isPostgreSql ? m_postgreSql : m_mariaDb;
    if (!server)
        server =
            std::make_unique<PrivateDatabaseServer>(isPostgreSql ? PrivateDatabaseServer::System::PostgreSql
                                                                 : PrivateDatabaseServer::System::MariaDb);
    return *server;
}

TestDatabase::TestDatabase(TestServers &servers, DatabaseRoute route, const QString &options) : m_route(route)
{
    static int number = 0;
    const QString name = u"oa_%1"_s.arg(++number);
    m_oaConnection = "oa-system-"_L1 + name;
    if (isSqlite()) {
        const QString file = m_folder.filePath(u"oa.db"_s);
        m_connectString = route == DatabaseRoute::Sqlite
                              ? u"Provider=SQLite;Data Source=\"%1\""_s.arg(file)
                              : u"DRIVER={SQLite3};Database=%1;Timeout=3000;NoWCHAR=0"_s.arg(file);
        openOaSystem(file);
        oa(u"pragma synchronous=off"_s);
        return;
    }
    const PrivateDatabaseServer &server = servers.of(route);
    m_server = &server;
    openOaSystem(server.firstDatabase());
    oa("create database "_L1 + name + (isMariaDb() ? u" character set utf8mb4"_s : u" "_s) + options);
    openOaSystem(name);
    const bool isOdbc = route == DatabaseRoute::PostgreSqlOdbc || route == DatabaseRoute::MariaDbOdbc;
    m_connectString = isOdbc ? server.odbcConnectString(name) : server.nativeConnectString(name);
}

TestDatabase::~TestDatabase()
{
    oaSystem().close();
    QSqlDatabase::removeDatabase(m_oaConnection);
}

void TestDatabase::openOaSystem(const QString &database)
{
    m_oaDatabase = database;
    if (QSqlDatabase::contains(m_oaConnection))
        QSqlDatabase::removeDatabase(m_oaConnection);
    QSqlDatabase oa = QSqlDatabase::addDatabase(isSqlite()       ? u"QSQLITE"_s
                                                : isPostgreSql() ? u"QPSQL"_s
                                                                 : u"QMYSQL"_s,
                                                m_oaConnection);
    oa.setDatabaseName(database);
    if (m_server) {
        oa.setHostName(m_server->address());
        oa.setPort(m_server->port());
    }
    if (!oa.open(PrivateDatabaseServer::user(), PrivateDatabaseServer::password()))
        throw Fault(oa.lastError().text());
    // The OA system's clock is this machine's.
    const QString offset = localZoneOffset();
    if (isPostgreSql())
        run(u"set time zone interval '%1' hour to minute"_s.arg(offset), {});
    else if (isMariaDb())
        run(u"set time_zone='%1'"_s.arg(offset), {});
}

QString TestDatabase::sampleSchema() const
{
    const QString name = isSqlite() ? u"sqlite"_s : isPostgreSql() ? u"postgresql"_s : u"mariadb"_s;
    QFile file(QStringLiteral(SMS_SCHEMA_FOLDER) + u"/%1.sql"_s.arg(name));
    if (!file.open(QIODevice::ReadOnly))
        throw Fault(u"cannot read %1"_s.arg(file.fileName()));
    QString schema = QString::fromUtf8(file.readAll());
    return schema.remove(QRegularExpression(u"--[^\n]*"_s));
}

void TestDatabase::loadSchema()
{
    const QStringList statements = sampleSchema().split(u';');
    for (const QString &statement : statements) {
        if (!statement.trimmed().isEmpty())
            oa(statement.trimmed());
    }
}

QSqlQuery TestDatabase::run(const QString &sql, const QVariantList &values)
{
    QSqlQuery query(oaSystem());
    bool isDone = false;
    if (values.isEmpty()) {
        // Some statements cannot be prepared.
        isDone = query.exec(sql);
    } else {
        isDone = query.prepare(sql);
        for (const QVariant &value : values)
            query.addBindValue(value);
        isDone = isDone && query.exec();
    }
    if (!isDone)
        throw Fault(sql + u": "_s + query.lastError().text());
    return query;
}

void TestDatabase::oa(const QString &sql, const QVariantList &values)
{
    run(sql, values);
}

QStringList TestDatabase::rows(const QString &query, const QVariantList &values)
{
    QSqlQuery result = run(query, values);
    QStringList rows;
    while (result.next()) {
        QStringList row;
        for (int column = 0; column < result.record().count(); ++column)
            row += shown(result.value(column));
        rows += row.join(u'|');
    }
    return rows;
}

bool TestDatabase::isPostgreSql() const
{
    return m_route == DatabaseRoute::PostgreSql || m_route == DatabaseRoute::PostgreSqlOdbc;
}

bool TestDatabase::isMariaDb() const
{
    return m_route == DatabaseRoute::MariaDb || m_route == DatabaseRoute::MariaDbOdbc;
}

void TestDatabase::reopen()
{
    openOaSystem(m_oaDatabase);
}
