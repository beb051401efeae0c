#pragma once

#include "modem/ModemFault.h"
#include "modem/ModemLimits.h"
#include "modem/ModemResult.h"
#include "modem/SmsSubmit.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <optional>

class AtChannel;
struct AtAnswer;

/// What became of a message.
struct SendOutcome {
    ModemResult result = ModemResult::Ok;
    std::optional<ModemFault::Kind> fault; ///< set: it could not be tried, and result means nothing
    bool isModemGone = false; ///< the device is gone or stopped answering: the port is to be closed
    QString cause;            ///< for the log, "" when sent
};

/// Hands SMS to the modem (AT+CMGS, 3GPP TS 27.005, 3.5.1) and tells apart "refused", "could not try" and
/// "unknown".
class MessageSender
{
public:
    MessageSender(AtChannel &channel, const ModemLimits &limits) : m_channel(channel), m_limits(limits) {}

    /// All parts in order, up to the first that is not accepted. Nothing is ever sent twice.
    [[nodiscard]] SendOutcome send(const QList<SmsSubmit> &parts);

private:
    SendOutcome sendPart(const SmsSubmit &part);
    SendOutcome withoutPrompt(const AtAnswer &answer);

    AtChannel &m_channel;
    ModemLimits m_limits;
};
