#pragma once

#include "modem/ModemResult.h"
#include "modem/line/ModemLimits.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

class AtChannel;
class MessageStore;

/// What the bring-up found.
struct BringUpReport {
    ModemResult result = ModemResult::Ok;
    bool isRegistered = false;
    QString cause = {};                  ///< for the operator when result is not Ok
    QStringList remarks = {};            ///< what of the usual this modem does not take, for the operator
    QByteArray notificationCommand = {}; ///< the +CNMI that the modem took, "" when none
    QByteArray iccid = {};               ///< the number of the SIM card, "" when it is not told
};

/// Makes a modem ready to send and receive in PDU mode: in step, echo off, numbered errors, SIM, PDU mode,
/// centre, memories, notifications, registration. What a modem does not know is left out, except what
/// messages depend on. serviceCentre: dialable, or "" for the SIM's own. syncLimit: how long a silent modem
/// is looked for.
[[nodiscard]] BringUpReport bringUp(AtChannel &channel, MessageStore &store, const ModemLimits &limits,
                                    const QString &serviceCentre, std::chrono::milliseconds syncLimit);
