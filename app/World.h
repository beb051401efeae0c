#pragma once

#include "app/CommandLine.h"
#include "foundation/DatabaseSession.h"
#include "modem/ModemControl.h"
#include "platform/registry/FileRegistry.h"
#include "service/ServerParts.h"

/// The outside world, real, as the command line wants it. The service's own files lie beside the settings file.
struct World {
    /// collector: the program that collects external mail.
    World(const CommandLine &line, const QString &collector);

    FileRegistry registry;
    SystemClock clock;
    DatabaseSession session{registry};
    ModemControl modem;
    ServerParts parts;
};
