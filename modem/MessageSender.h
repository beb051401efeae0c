#pragma once

#include "modem/HandOver.h"
#include "modem/ModemFault.h"
#include "modem/ModemResult.h"
#include "modem/SendVerdict.h"
#include "modem/line/ModemLimits.h"
#include "modem/tpdu/SmsSubmit.h"

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
    bool isModemGone = false;    ///< the device is gone or stopped answering: the port is to be closed
    bool isSettingsLost = false; ///< the modem restarted: it is to be brought up before anything else
    QString cause;               ///< for the log, "" when sent
};

/// Hands SMS to the modem (AT+CMGS, 3GPP TS 27.005, 3.5.1) and acts on what judgeSend() makes of the answers.
class MessageSender
{
public:
    MessageSender(AtChannel &channel, const ModemLimits &limits, const HandOver &handOver)
        : m_channel(channel), m_limits(limits), m_handOver(handOver)
    {
    }

    /// All parts in order, up to the first that is not accepted. Nothing that was handed over is handed
    /// over again. Throws what HandOver::before throws for the first part.
    [[nodiscard]] SendOutcome send(const QList<SmsSubmit> &parts);

private:
    struct Attempt {
        SendVerdict verdict;
        QString cause; ///< the modem's own words
    };
    Attempt tryPart(const SmsSubmit &part, bool isSecond = false);
    AtAnswer handOver(const SmsSubmit &part);
    [[nodiscard]] bool findModemAgain();
    void tellEnd(SendVerdict verdict);
    SendOutcome sendPart(const SmsSubmit &part);
    SendOutcome sendFurtherPart(const SmsSubmit &part);
    SendOutcome waits(ModemFault::Kind kind, const QString &cause);

    AtChannel &m_channel;
    ModemLimits m_limits;
    const HandOver &m_handOver;
    HandOver::Part m_part;       // in hand
    bool m_isHandedOver = false; // its text
};
