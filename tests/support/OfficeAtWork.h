#pragma once

#include "console/service/ServicePasses.h"
#include "database/NamedLock.h"
#include "platform/clock/Clock.h"
#include "platform/registry/FileRegistry.h"
#include "tests/support/OtherSchema.h"
#include "tests/support/RecordingConsole.h"
#include "tests/support/SimulatorProcess.h"

#include <optional>

/// An office on one database with everything that works on it: all passes, and a simulated modem.
class OfficeAtWork
{
public:
    /// extraKeys: appended to the connection string.
    OfficeAtWork(TestServers &servers, DatabaseRoute route, SchemaKind kind, const QString &extraKeys = {});
    ~OfficeAtWork();
    OfficeAtWork(const OfficeAtWork &) = delete;
    OfficeAtWork &operator=(const OfficeAtWork &) = delete;

    /// The OA system adds a row: its values, by column.
    void add(const QString &table, const QString &columns, const QVariantList &values);
    /// The columns of all rows, in the order of the row key, each value without the blanks that pad it.
    [[nodiscard]] QStringList rows(const QString &table, const QString &columns);
    /// The database refuses (or, on SQLite, ignores) an insert, update or delete of the rows whose column has that
    /// value, of all rows for no column, until allowAll().
    void refuse(const QString &event, const QString &table, const QString &column, const QString &value,
                bool isIgnored = false);
    void allowAll();
    /// A setting of the server's own, from its next pass on.
    void set(const QString &name, const QString &value);
    /// Another server holds this lock; "" lets it go.
    void holdElsewhere(const QString &lock);
    /// The simulated modem, plugged in and open from the first call on.
    SimulatorProcess &simulator();

    TestDatabase database;
    OtherSchema schema;

private:
    QTemporaryDir m_folder;
    FileRegistry m_registry{m_folder.filePath(QStringLiteral("settings.ini"))};
    std::optional<SimulatorProcess> m_simulator;
    Connection m_otherServer;
    std::optional<NamedLock> m_otherLock;
    QString m_refusedTable;

public:
    DatabaseSession session{m_registry};
    RecordingConsole console;
    ManualClock clock{QDateTime({2006, 3, 5}, {7, 8, 9})};
    ModemControl modem;
    ServicePasses passes{{.clock = clock,
                          .registry = m_registry,
                          .session = session,
                          .modem = modem,
                          .sendLedgerFile = m_folder.filePath(QStringLiteral("sends"))},
                         console};
};
