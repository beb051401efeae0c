#pragma once

#include "platform/fault/Fault.h"

/// A message could not be tried: the device is gone, gives no answer, or has no network. Nothing of the
/// message was accepted, so the same message may be tried again without being sent twice.
class ModemFault final : public Fault
{
public:
    enum class Kind {
        PortLost,  ///< the device is gone or could not be (re)opened: nothing can be sent now
        NoNetwork, ///< the modem is not registered, or the SIM lets nothing be sent now
        // Other messages may go on after these.
        NoAnswer,    ///< this attempt got no answer, but the modem answered AT after it
        NotPrompted, ///< the modem refused the command before the text was handed over
        NotTaken,    ///< the network did not take the message this time, for a reason that may pass
    };

    ModemFault(Kind kind, const QString &message) : Fault(message), m_kind(kind) {}
    [[nodiscard]] Kind kind() const noexcept { return m_kind; }

private:
    Kind m_kind;
};
