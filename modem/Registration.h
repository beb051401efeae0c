#pragma once

#include "modem/line/ModemLimits.h"

#include <QByteArrayList>
#include <optional>

class AtChannel;

/// Asks whether the modem is registered with a network, at home or roaming: any of +CREG, +CGREG and +CEREG
/// with 1, 5, 6 or 7 (3GPP TS 27.007, 7.2, 10.1.20, 10.1.22). Nothing when it knows none of these questions.
[[nodiscard]] std::optional<bool> isRegistered(AtChannel &channel, const ModemLimits &limits,
                                               const QByteArrayList &names = {"+CREG", "+CGREG", "+CEREG"});
