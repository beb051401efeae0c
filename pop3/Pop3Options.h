#pragma once

#include <QByteArray>
#include <QString>

#include <chrono>
#include <functional>
#include <memory>

class Pop3Waiter;

/// Every limit of a POP3 session in one place. What crossing one means is beside it.
struct Pop3Limits {
    /// From the host name to the TCP connection; crossed: the host counts as unreachable.
    std::chrono::milliseconds connect{15'000};
    /// From the TCP connection to the greeting, TLS before it included; crossed: unreachable as well.
    std::chrono::milliseconds greeting{15'000};
    /// From the call to the answer to the login: TLS, greeting, CAPA and one way of logging in. Servers delay
    /// the answer to a wrong password by up to 15 s. Crossed: timed out.
    std::chrono::milliseconds login{45'000};
    /// Silence while an answer is awaited; crossed: timed out, the line is given up.
    std::chrono::milliseconds stall{60'000};
    /// Once an answer has begun, so many octets must come in each such window, or its end; else timed out. So a
    /// server that drips is given up soon, and a big message on a slow line is not.
    std::chrono::milliseconds speedWindow{15'000};
    qint64 windowLeastOctets = 15LL * 1024;
    /// One answer, however fast it comes; crossed: timed out. 256 MB at 1 Mbit/s take 36 minutes.
    std::chrono::milliseconds exchange{3'600'000};
    /// Silence after what may be the end of a message, when nothing else was asked for: then it was.
    std::chrono::milliseconds doubtfulEnd{2'000};
    /// The answer to QUIT.
    std::chrono::milliseconds quit{15'000};
    /// Silence after which a stop request gives the line up instead of waiting on.
    std::chrono::milliseconds stopGrace{3'000};

    /// Commands, and octets of expected answers, that may be on their way at once (RFC 2449, 6.6). 64
    /// commands hide any round trip; the octets bound what must be read away when a retrieval is broken off.
    int windowCommands = 64;
    qint64 windowOctets = 1024LL * 1024;

    /// A longer message is refused, that one only; the line is given up when it does not end by twice that.
    qint64 messageOctets = 256LL * 1024 * 1024;
    /// A longer UIDL or LIST answer, or a longer status line, gives the line up.
    qint64 listingOctets = 64LL * 1024 * 1024;
    qint64 lineOctets = 64LL * 1024;
    /// Messages beyond this number are not seen until those before them are deleted.
    int messages = 1'000'000;
};

enum class Pop3Tls {
    Opportunistic, ///< The TLS port: TLS, verified. Other ports: STLS whenever offered, not verified.
    Verify,        ///< Every port: TLS, verified; a server without it is refused before the login.
};

enum class Pop3Direction { Sent, Received };

/// One line of the session without its line end, secrets masked. Message texts are summed up, not shown.
using Pop3Trace = std::function<void(Pop3Direction, const QString &line)>;

struct Pop3Options {
    Pop3Tls tls = Pop3Tls::Opportunistic;
    /// PEM file with the trusted authorities; empty:
    /// SSL_CERT_FILE of the environment, else the system's store.
    QString trustedCertificates;
    /// The port where TLS starts with the first byte, always verified (RFC 8314, 3.3).
    int tlsPort = 995;
    Pop3Limits limits;
    Pop3Trace trace;
    /// False: a command is sent only when the one before is answered, whatever the server offers.
    bool pipelining = true;
    /// Shared by sessions that wait for their servers together; a session without one waits alone.
    std::shared_ptr<Pop3Waiter> waiter;
    /// Asked before every message but the first: true ends the retrieval there, and the session goes on.
    std::function<bool()> isEnough = [] { return false; };
    /// Asked while connecting and between messages; true ends what is going on at the next safe point.
    std::function<bool()> stopRequested = [] { return false; };
};
