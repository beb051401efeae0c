#pragma once

#include "modem/ModemResult.h"
#include "modem/line/ModemLimits.h"

#include <QByteArray>
#include <QString>

class AtChannel;
struct AtAnswer;

/// How a SIM card is.
struct SimState {
    ModemResult result = ModemResult::Ok; ///< SimMissing, SimLocked or SimFailure when it is of no use
    QString cause = {};                   ///< for the operator then
};

/// What an answer to AT+CPIN? says (3GPP TS 27.007, 8.3). Ok also for a plain error: the modem may not know the question.
[[nodiscard]] SimState simState(const AtAnswer &answer);

/// The number of the SIM card, which no other has (ITU-T E.118), "" when the modem does not tell it.
[[nodiscard]] QByteArray askIccid(AtChannel &channel, const ModemLimits &limits);
