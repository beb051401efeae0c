#pragma once

#include "simulator/CommandTable.h"
#include "simulator/DeliverService.h"
#include "simulator/SubmitService.h"

namespace simulator
{
/// Adds the commands that send messages and set how they are handled (3GPP TS 27.005). The table keeps
/// references to all three.
void addMessageCommands(CommandTable &table, ModemState &state, SubmitService &submits,
                        DeliverService &deliveries);
} // namespace simulator
