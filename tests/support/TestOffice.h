#pragma once

#include "foundation/DatabaseSession.h"
#include "foundation/FaultLog.h"
#include "foundation/TaskGuard.h"
#include "platform/clock/Clock.h"
#include "platform/registry/FileRegistry.h"
#include "tests/support/RecordingConsole.h"

#include <QTemporaryDir>

/// An office with an embedded database of its own: the OA tables, empty, in a temporary folder, the session
/// open on them. The OA system's side is a connection of its own, as in life.
class TestOffice
{
public:
    TestOffice();

    /// A statement of the OA system. Throws DatabaseFault.
    void oa(const QString &sql, const QVariantList &values = {});
    /// Rows as the OA system sees them, one text a row, columns joined by "|", null shown as "NULL".
    [[nodiscard]] QStringList rows(const QString &query, const QVariantList &values = {});

    /// Commits reach the disk, as they do in an office. Tests do without.
    void makeDurable();
    /// Settings for a server process: this database, the device as COM3, the interval.
    void configureModem(const QString &device, int scanIntervalSeconds);

    [[nodiscard]] QString databaseFile() const { return m_folder.filePath(QStringLiteral("oa.db")); }
    [[nodiscard]] QString connectString() const;
    [[nodiscard]] QString path(const QString &fileName) const { return m_folder.filePath(fileName); }

private:
    QTemporaryDir m_folder;
    Connection m_oaSystem;

public:
    FileRegistry registry{m_folder.filePath(QStringLiteral("settings.ini"))};
    DatabaseSession session{registry};
    RecordingConsole console;
    FaultLog faults{console};
    TaskGuard guard{session, console, faults};
    ManualClock clock{QDateTime({2006, 3, 5}, {7, 8, 9})};
};
