#pragma once

#include "simulator/commands/CommandTable.h"

namespace simulator
{
/// Adds what is no message command: dialogue format (ITU-T V.250), identity, SIM, network (3GPP TS 27.007). The
/// table keeps a reference to the state.
void addGeneralCommands(CommandTable &table, ModemState &state);
} // namespace simulator
