#pragma once

#include "app/CommandLine.h"

class Registry;

/// --find-modem: lists the serial ports with what answers there. With a COM number it writes the device of the one modem
/// that was found for it. Exit status 0 when a modem was found.
[[nodiscard]] int findModem(Registry &registry, const QString &comPort);

/// --send-test: hands one message to the modem, past the queue, and tells the outcome. Exit status 0 when it went out.
/// Throws Fault while the service has the modem.
[[nodiscard]] int sendTest(const CommandLine &line);
