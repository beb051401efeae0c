#pragma once

#include <QString>

/// The modem control takes messages out of a store in which everything happens: it moves up after a removal, somebody
/// else reads and removes, the SIM is exchanged, readings are damaged, in so many random steps, each before a command of
/// the control, except between the reading of a place and its +CMGD. Returns what was lost, "" when nothing was, and
/// prints the figures.
[[nodiscard]] QString storeSteps(int steps, quint64 seed);
