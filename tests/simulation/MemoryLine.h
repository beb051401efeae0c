#pragma once

#include "simulator/line/LineEnd.h"

#include <memory>

/// The modem's end of a line in memory. The modem control opens the other one by this name; its line stands here too, in
/// the place of the serial port.
[[nodiscard]] std::unique_ptr<simulator::LineEnd> makeModemEnd(const QString &name);
/// How often since the last call a server wrote a command while it had no answer to the one before.
[[nodiscard]] int takeHastyCommands();
