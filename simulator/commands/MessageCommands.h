#pragma once

#include "simulator/commands/CommandTable.h"
#include "simulator/network/SubmitService.h"

namespace simulator
{
/// Adds the commands that send messages and set how they are handled (3GPP TS 27.005). The table keeps
/// references to both.
void addMessageCommands(CommandTable &table, ModemState &state, SubmitService &submits);
} // namespace simulator
