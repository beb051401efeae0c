#pragma once

struct AtAnswer;

/// What one attempt to hand a part over came to.
enum class SendVerdict {
    Accepted,     ///< "+CMGS: <mr>", with or without the OK behind it
    Refused,      ///< for good: the same message would be refused again
    NotConfirmed, ///< a bare OK to the TPDU: not sent, as far as anybody knows
    NotTaken,     ///< a temporary or meaningless code: the network did not take it this time
    NoNetwork,    ///< the SIM or the network lets nothing be sent now
    NotPrompted,  ///< refused before the prompt: nothing was handed over
    NoPrompt,     ///< silence instead of the prompt: nothing was handed over
    SettingsLost, ///< the modem restarted before anything was handed over
    FateUnknown,  ///< handed over, and no result that counts
    PortLost,     ///< the device went away before all of it was handed over
};

/// The one place that decides what became of a message. answer: to AT+CMGS while nothing was handed over, to
/// the TPDU afterwards (answer.isHandedOver). A prompt is no verdict and must not be asked about.
[[nodiscard]] SendVerdict judgeSend(const AtAnswer &answer);
