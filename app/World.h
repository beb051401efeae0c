#pragma once

#include "app/CommandLine.h"
#include "foundation/DatabaseSession.h"
#include "modem/ModemControl.h"
#include "platform/registry/FileRegistry.h"
#include "service/ServerParts.h"

/// The outside world, real, as the command line wants it.
struct World {
    explicit World(const CommandLine &line);

    /// For the service; its own files lie beside the settings file.
    [[nodiscard]] ServerParts parts();

    const CommandLine &line;
    FileRegistry registry;
    SystemClock clock;
    DatabaseSession session{registry};
    ModemControl modem;
};
