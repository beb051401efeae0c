#pragma once

#include "foundation/DatabaseSession.h"
#include "foundation/FaultLog.h"
#include "platform/clock/Clock.h"
#include "platform/registry/FileRegistry.h"
#include "tests/support/RecordingConsole.h"
#include "tests/support/TestDatabase.h"

/// One waiting row.
struct Workload {
    QStringList names;
    QString text;

    explicit Workload(int recipients, int characters = 150) : text(characters, u'长')
    {
        for (int i = 0; i < recipients; ++i)
            names += QStringLiteral("user%1").arg(i);
    }
};

/// One office on a route, filled, with the program's session on it.
struct RoadOffice {
    RoadOffice(TestServers &servers, DatabaseRoute route, const Workload &load);

    TestDatabase database;
    QTemporaryDir folder;
    FileRegistry registry{folder.filePath(QStringLiteral("settings.ini"))};
    DatabaseSession session{registry};
    RecordingConsole console;
    FaultLog faults{console};
    ManualClock clock{QDateTime({2006, 3, 5}, {7, 8, 9})};
};
