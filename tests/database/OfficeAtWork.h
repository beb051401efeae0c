#pragma once

#include "console/service/ServicePasses.h"
#include "platform/clock/Clock.h"
#include "platform/registry/FileRegistry.h"
#include "tests/support/OtherSchema.h"
#include "tests/support/RecordingConsole.h"
#include "tests/support/SimulatorProcess.h"

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
    [[nodiscard]] QStringList rows(const QString &table, const QString &columns,
                                   const QString &key = QStringLiteral("OAID"));

    TestDatabase database;
    OtherSchema schema;

private:
    QTemporaryDir m_folder;
    FileRegistry m_registry{m_folder.filePath(QStringLiteral("settings.ini"))};

public:
    DatabaseSession session{m_registry};
    RecordingConsole console;
    ManualClock clock{QDateTime({2006, 3, 5}, {7, 8, 9})};
    SimulatorProcess simulator;
    ModemControl modem{clock, [this](int) { return simulator.devicePath(); }};
    ServicePasses passes{{clock, m_registry, session, modem}, console};
};
