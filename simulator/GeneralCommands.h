#pragma once

#include "simulator/CommandTable.h"
#include "simulator/ModemState.h"

namespace simulator
{
/// Adds what is no message command: dialogue format (ITU-T V.250), identity, SIM, network (3GPP TS 27.007).
/// networkUsable is called when a message that waits in the network may be deliverable now. The table keeps
/// references to all three.
void addGeneralCommands(CommandTable &table, ModemState &state, const std::function<void()> &networkUsable);

/// Puts back what ATZ, AT&F and a new start put back.
void restoreSettings(ModemState &state);
} // namespace simulator
