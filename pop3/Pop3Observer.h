#pragma once

#include "pop3/Pop3Options.h"

#include <QByteArrayList>

#include <chrono>

/// What the server offers (RFC 2449, 5).
struct Pop3Capabilities {
    bool pipelining = false;
    QByteArrayList saslMechanisms;      ///< upper case, as the server orders them
    std::chrono::seconds loginDelay{0}; ///< LOGIN-DELAY
};

/// Watches the lines of a session: hands them to the trace with every secret masked, and remembers what the
/// server offered and how the library tried to log in.
class Pop3Observer
{
public:
    /// password: also masked wherever the server repeats it.
    Pop3Observer(Pop3Trace trace, QByteArray password);

    /// Another connection begins; what was remembered of the one before is forgotten.
    void newLine() { m_line = {}; }
    /// One line, with or without its line end.
    void sent(QByteArrayView line);
    void received(QByteArrayView line);
    /// A summary in place of lines that are not shown, such as message texts.
    void summarise(const QString &text) const;
    /// A server's words made fit for messages to people: password masked, shortened, harmless.
    [[nodiscard]] QString presentable(QByteArrayView text) const;

    [[nodiscard]] const Pop3Capabilities &capabilities() const { return m_line.capabilities; }
    [[nodiscard]] bool offersApop() const { return m_line.offersApop; }
    /// The way that was tried last: a SASL mechanism, "APOP" or "USER"; empty when none was.
    [[nodiscard]] const QByteArray &loginWay() const { return m_line.loginWay; }
    [[nodiscard]] bool hasGreeted() const { return m_line.greeted; }
    /// False once the server greeted with what no POP3 server says.
    [[nodiscard]] bool looksLikePop3() const { return m_line.looksLikePop3; }
    /// The last status line that the server sent.
    [[nodiscard]] const QByteArray &lastReply() const { return m_line.lastReply; }

private:
    void readCapability(QByteArrayView line);

    Pop3Trace m_trace;
    QByteArray m_password;
    struct Line {
        Pop3Capabilities capabilities;
        QByteArray loginWay;
        QByteArray lastReply;
        bool greeted = false;
        bool looksLikePop3 = true;
        bool offersApop = false;
        bool capaAsked = false;      // the next status line answers CAPA
        bool capaListing = false;    // lines are capabilities until "."
        bool authenticating = false; // whatever is sent belongs to a SASL exchange
    };
    Line m_line;
};
