#pragma once

#include "platform/modem/ModemTrace.h"

/// Shows the modem's traffic on standard error, a line a chunk, with time stamps: ">" sent, "<" received,
/// control characters in C notation.
void traceModem(TraceDirection direction, QByteArrayView octets);
