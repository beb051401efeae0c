#pragma once

#include "foundation/DatabaseSession.h"
#include "foundation/TaskGuard.h"
#include "platform/registry/FileRegistry.h"
#include "service/ServicePasses.h"
#include "tests/support/ManualClock.h"
#include "tests/support/OfficeSchema.h"
#include "tests/support/RecordingConsole.h"
#include "tests/support/SimulatorProcess.h"

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <optional>

/// An office with a database and a folder of its own: the OA system, on a connection of its own as in
/// life, and the parts of the program, with a session that is open.
class Office
{
public:
    /// An empty database on a route; a file with the sample schema if nothing else is said.
    /// creation: at the end of a server's "create database". Throws Fault.
    explicit Office(DatabaseRoute route = DatabaseRoute::Sqlite, SchemaKind kind = SchemaKind::Sample,
                    const QString &creation = {});
    ~Office();
    Office(const Office &) = delete;
    Office &operator=(const Office &) = delete;

    /// A statement of the OA system, which is no part of the program. Throws Fault.
    void oa(const QString &sql, const QVariantList &values = {});
    /// Rows as the OA system sees them, one text a row, columns joined by "|", null shown as "NULL", times in
    /// this machine's zone, values of another schema without the blanks that pad them.
    [[nodiscard]] QStringList rows(const QString &query, const QVariantList &values = {});
    /// The columns of all rows of a table, in the order of its key.
    [[nodiscard]] QStringList table(const QString &name, const QString &columns);
    /// The OA system adds a row: its values, by column.
    void addRow(const QString &table, const QString &columns, const QVariantList &values);
    /// The same for rows as table() gives them.
    void add(const QString &table, const QString &columns, const QStringList &rows);
    /// The database refuses (or, on SQLite, ignores) an insert, update or delete of the rows whose column has
    /// that value, of all rows for no column, until allowAll().
    void refuse(const QString &event, const QString &table, const QString &column = {},
                const QString &value = {}, bool isIgnored = false);
    void allowAll();
    /// Opens the OA system's side anew, after its server was stopped.
    void reopen();

    /// The program's commits reach the disk, as they do in an office. Tests do without.
    void makeDurable();

    /// A setting of the server's own.
    void set(const QString &name, const QString &value);
    /// The settings that the dialog knows.
    void configure(const QString &centerCode, const QString &serverPort, const QString &timeDelay = {});
    /// Settings for a server process: the device as COM3, the interval.
    void configureModem(const QString &device, int scanIntervalSeconds);

    /// A modem control with short limits, not yet open, on the simulator's port.
    ModemControl &modem();
    /// The simulated modem, plugged in and open from the first call on.
    SimulatorProcess &simulator();
    /// The passes and the receiving, which begins with the first call.
    ServicePasses &passes();

    [[nodiscard]] DatabaseRoute route() const { return m_route; }
    [[nodiscard]] bool isPostgreSql() const { return ::isPostgreSql(m_route); }
    [[nodiscard]] bool isMariaDb() const { return ::isMariaDb(m_route); }
    [[nodiscard]] bool isSqlite() const { return !isPostgreSql() && !isMariaDb(); }
    /// The program's.
    [[nodiscard]] QString connectString() const { return m_connectString; }
    /// The OA system's connection, by QtSql's name for it.
    [[nodiscard]] const QString &oaConnection() const { return m_oaConnection; }
    [[nodiscard]] QString databaseFile() const { return path(QStringLiteral("oa.db")); }
    [[nodiscard]] QString path(const QString &fileName) const { return m_folder.filePath(fileName); }

private:
    QSqlQuery run(const QString &sql, const QVariantList &values = {});
    void openOaSystem(const QString &database);

    const DatabaseRoute m_route;
    const OfficeSchema m_schema;
    const QTemporaryDir m_folder;
    QString m_oaConnection;
    QString m_oaDatabase;
    QString m_connectString;
    QString m_refusedTable;

public:
    FileRegistry registry{path(QStringLiteral("settings.ini"))};
    DatabaseSession session{registry};
    RecordingConsole console;
    FaultLog faults{console};
    TaskGuard guard{session, console, faults};
    ManualClock clock{QDateTime({2006, 3, 5}, {7, 8, 9})};

private:
    std::optional<SimulatorProcess> m_simulator;
    std::optional<ModemControl> m_modem;
    std::optional<ServicePasses> m_passes;
};
