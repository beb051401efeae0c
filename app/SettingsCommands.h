#pragma once

#include "app/CommandLine.h"
#include "platform/registry/Registry.h"

/// Carries out --set: writes the settings in the order given, none of them when one will not do. The value "-"
/// of ConnectString is read from standard input, where no other user sees it. Throws Fault.
void writeSettings(Registry &registry, const QList<CommandLine::Assignment> &assignments);

/// The text of --show-settings: one "NAME=VALUE" a line, passwords masked. Throws Fault.
[[nodiscard]] QString shownSettings(const Registry &registry);
