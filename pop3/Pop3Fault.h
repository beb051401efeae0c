#pragma once

#include "platform/fault/Fault.h"

/// The line to the mail server broke in the middle of a session. The session is over without QUIT, so none of
/// its deletions takes effect; connect again for the next one.
class Pop3Fault final : public Fault
{
public:
    enum class Kind {
        NotConnected, ///< there is no session: never connected, ended, or broken before
        LineLost,     ///< the server hung up, or said what is no POP3
        OutOfStep,    ///< answers and questions do not fit together any more; without pipelining they may
        TimedOut,     ///< a time limit of Pop3Limits was crossed
        Stopped,      ///< given up because a stop was requested while the server was silent
    };
    Pop3Fault(Kind kind, const QString &message) : Fault(message), m_kind(kind) {}
    [[nodiscard]] Kind kind() const noexcept { return m_kind; }

private:
    Kind m_kind;
};
