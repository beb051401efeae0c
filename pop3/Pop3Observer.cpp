#include "pop3/Pop3Observer.h"

#include "mime/CharsetDecoder.h"
#include "mime/HeaderFields.h"
#include "platform/text/HarmlessText.h"

#include <algorithm>
#include <utility>

namespace
{

constexpr int longestShownLine = 500; // octets; more is no help to a reader
/// No server means more; one that says more is not to keep its mails for ever.
constexpr std::chrono::seconds longestLoginDelay = std::chrono::hours(24);

} // namespace

Pop3Observer::Pop3Observer(Pop3Trace trace, QByteArray password)
    : m_trace(std::move(trace)), m_password(std::move(password))
{
}

void Pop3Observer::sent(QByteArrayView line)
{
    QByteArray shown = withoutLineEnd(line).toByteArray();
    const QByteArrayList words = shown.toUpper().split(' ');
    const QByteArray &verb = words.first();
    if (m_line.authenticating) {
        shown = "****";
    } else if (verb == "PASS" || verb == "APOP") {
        shown = verb + " ****";
    } else if (verb == "AUTH") {
        // An initial response may follow the mechanism (RFC 5034, 4).
        m_line.loginWay = words.value(1);
        shown = "AUTH " + m_line.loginWay + (words.size() > 2 ? " ****" : "");
        m_line.authenticating = true;
    }
    if (verb == "APOP" || verb == "USER")
        m_line.loginWay = verb;
    if (verb == "CAPA" && !m_line.authenticating) {
        m_line.capaAsked = true;
        m_line.capabilities = {};
    }
    if (m_trace)
        m_trace(Pop3Direction::Sent, presentable(shown));
}

void Pop3Observer::received(QByteArrayView line)
{
    line = withoutLineEnd(line);
    if (m_trace)
        m_trace(Pop3Direction::Received, presentable(line));
    if (m_line.capaListing) {
        readCapability(line);
        return;
    }
    m_line.lastReply = line.toByteArray();
    if (line.startsWith("+OK") || line.startsWith("-ERR"))
        m_line.authenticating = false;
    if (!m_line.greeted) {
        // A time stamp in the greeting offers APOP (RFC 1939, 7).
        m_line.greeted = true;
        m_line.looksLikePop3 = line.startsWith("+OK") || line.startsWith("-ERR");
        m_line.offersApop = m_line.lastReply.contains('<') && m_line.lastReply.contains('>');
    } else if (m_line.capaAsked) {
        m_line.capaAsked = false;
        m_line.capaListing = line.startsWith("+OK");
    }
}

void Pop3Observer::readCapability(QByteArrayView line)
{
    if (line == ".") {
        m_line.capaListing = false;
        return;
    }
    const QByteArrayList words = line.toByteArray().simplified().toUpper().split(' ');
    if (words.first() == "PIPELINING")
        m_line.capabilities.pipelining = true;
    else if (words.first() == "SASL")
        m_line.capabilities.saslMechanisms = words.mid(1);
    else if (words.first() == "LOGIN-DELAY")
        m_line.capabilities.loginDelay =
            std::min(std::chrono::seconds(words.value(1).toUInt()), longestLoginDelay);
}

void Pop3Observer::summarise(const QString &text) const
{
    if (m_trace)
        m_trace(Pop3Direction::Received, text);
}

QString Pop3Observer::presentable(QByteArrayView text) const
{
    QByteArray octets = text.toByteArray();
    if (!m_password.isEmpty())
        octets.replace(m_password, "****");
    return harmlessText(decodeText(octets.left(longestShownLine), {}));
}
