#pragma once

#include "app/CommandLine.h"
#include "foundation/DatabaseSession.h"
#include "modem/ModemControl.h"
#include "platform/registry/FileRegistry.h"
#include "service/ServerParts.h"

#include <QHash>

/// The outside world, real, as the command line wants it. The service's own files lie beside the settings file.
struct World {
    /// collector: the program that collects external mail.
    World(const CommandLine &line, const QString &collector);

    /// What the settings say of a COM port; what they last said while they cannot be read.
    QString deviceOf(int comPort);

    FileRegistry registry;
    QHash<int, QString> devices;
    SystemClock clock;
    DatabaseSession session{registry};
    ModemControl modem;
    ServerParts parts;
};
