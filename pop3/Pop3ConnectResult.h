#pragma once

#include <QString>

enum class Pop3ConnectOutcome {
    Connected,
    InvalidAccount,  ///< host, port, login or password cannot be used as they stand; nothing was tried
    HostUnreachable, ///< no such host, connection refused, no connection or no greeting in time, or what
                     ///< answers is no POP3 server
    TlsRefused, ///< certificate not trusted or for another host, no common TLS, or TLS wanted and not offered
    LoginRefused, ///< every way of logging in that the server offers was refused
    LineLost,     ///< the server hung up before the login was answered
    TimedOut,     ///< the server greeted and stopped answering before the login was answered
    Stopped,      ///< a stop was requested meanwhile
};

struct Pop3ConnectResult {
    Pop3ConnectOutcome outcome = Pop3ConnectOutcome::Connected;
    QString text; ///< what went wrong, for people; never holds the password

    [[nodiscard]] bool connected() const { return outcome == Pop3ConnectOutcome::Connected; }
};
