#pragma once

#include "platform/fault/Fault.h"
#include "tests/support/PrivateDatabaseServer.h"

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QVariantList>
#include <memory>

/// The ways to a database that the program supports and this machine can try.
enum class DatabaseRoute {
    Sqlite,
    PostgreSql,
    MariaDb,
    PostgreSqlOdbc,
    MariaDbOdbc,
    OtherOdbc ///< SQLite through ODBC: a system that the program knows nothing of
};
Q_DECLARE_METATYPE(DatabaseRoute)

/// Adds the column "route" and a row for each route to a test's data.
void addDatabaseRoutes();
/// The same without SQLite.
void addServerRoutes();

/// The servers of one test program, started when first asked for.
class TestServers
{
public:
    [[nodiscard]] PrivateDatabaseServer &of(DatabaseRoute route);

private:
    std::unique_ptr<PrivateDatabaseServer> m_postgreSql;
    std::unique_ptr<PrivateDatabaseServer> m_mariaDb;
};

/// An empty database of its own on one route, with the OA system's side as a connection of its own.
class TestDatabase
{
public:
    /// options: at the end of a server's "create database".
    TestDatabase(TestServers &servers, DatabaseRoute route, const QString &options = {});
    ~TestDatabase();
    TestDatabase(const TestDatabase &) = delete;
    TestDatabase &operator=(const TestDatabase &) = delete;

    /// The text of the sample schema of the route's system, without its comments.
    [[nodiscard]] QString sampleSchema() const;
    void loadSchema();
    /// A statement of the OA system, which is no part of the program and has its own way to the database.
    /// Throws Fault.
    void oa(const QString &sql, const QVariantList &values = {});
    /// Rows as the OA system sees them, one text a row, columns joined by "|", null shown as "NULL", times
    /// in this machine's zone.
    [[nodiscard]] QStringList rows(const QString &query, const QVariantList &values = {});

    [[nodiscard]] QString connectString() const { return m_connectString; }
    /// The OA system's connection, by QtSql's name for it.
    [[nodiscard]] QString oaConnection() const { return m_oaConnection; }
    [[nodiscard]] DatabaseRoute route() const { return m_route; }
    [[nodiscard]] bool isSqlite() const
    {
        return m_route == DatabaseRoute::Sqlite || m_route == DatabaseRoute::OtherOdbc;
    }
    [[nodiscard]] bool isPostgreSql() const;
    [[nodiscard]] bool isMariaDb() const;
    /// Opens the OA system's side anew, after its server was stopped.
    void reopen();

private:
    [[nodiscard]] QSqlDatabase oaSystem() const { return QSqlDatabase::database(m_oaConnection, false); }
    QSqlQuery run(const QString &sql, const QVariantList &values);
    void openOaSystem(const QString &database);

    DatabaseRoute m_route;
    QTemporaryDir m_folder;
    const PrivateDatabaseServer *m_server = nullptr; // none for SQLite
    QString m_oaConnection;
    QString m_oaDatabase;
    QString m_connectString;
};
