#pragma once

#include <QByteArray>
#include <QString>

#include <chrono>

enum class Pop3ConnectOutcome {
    Connected,
    InvalidAccount,  ///< host, port, login or password cannot be used as they are; nothing was tried
    HostUnreachable, ///< no such host, connection refused, no connection or no greeting in time, or what
                     ///< answers is no POP3 server
    TlsRefused, ///< certificate not trusted or for another host, no common TLS, or TLS wanted and not offered
    LoginRefused, ///< login name, password or the way of logging in were not accepted
    CodeWanted, ///< refused as well; in its words the server wants an authorisation code, or POP3 switched on
    MailboxInUse, ///< the login was right, but another session holds the mailbox (RFC 2449, 8.1.2)
    TooOften,     ///< refused because the login before it was too short ago (RFC 2449, 8.1.1)
    ServerUnwell, ///< refused for a trouble of the server's own (RFC 3206, 4)
    LineLost,     ///< the server hung up before the login was answered
    TimedOut,     ///< the server greeted and stopped answering before the login was answered
    Stopped,      ///< a stop was requested meanwhile
};

struct Pop3ConnectResult {
    Pop3ConnectOutcome outcome = Pop3ConnectOutcome::Connected;
    QString text; ///< what went wrong, for people; never holds the password
    /// The way of logging in (Pop3LoginWays) that was taken or refused; empty when none was tried.
    QByteArray way = {};
    /// Ways are left that the server offers and that were not tried: for another time, since refused logins
    /// in a row lock an address out.
    bool otherWaysLeft = false;
    /// The least time between two logins, as the server announced it (RFC 2449, 6.5).
    std::chrono::seconds loginDelay{0};

    [[nodiscard]] bool connected() const { return outcome == Pop3ConnectOutcome::Connected; }
};
