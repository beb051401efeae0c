#pragma once

#include "mailbox/MailTrace.h"
#include "modem/line/ModemTrace.h"

/// Shows the modem's traffic on standard error, a line a chunk, with time stamps: ">" sent, "<" received,
/// control characters in C notation.
void traceModem(TraceDirection direction, QByteArrayView octets);

/// Shows the mail collection in the same way: the lines of the sessions, secrets masked, and what was passed
/// over, marked "!".
[[nodiscard]] MailTrace mailTrace();
