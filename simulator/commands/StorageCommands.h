#pragma once

#include "simulator/commands/CommandTable.h"
#include "simulator/network/DeliverService.h"

namespace simulator
{
/// Adds the commands that select, list, read and empty message memories (3GPP TS 27.005, 3.2.2, 3.4 and 3.5).
/// The table keeps references to the others.
void addStorageCommands(CommandTable &table, ModemState &state, DeliverService &deliveries);
} // namespace simulator
