#include "pop3/Pop3Observer.h"

#include "mime/CharsetDecoder.h"
#include "platform/text/HarmlessText.h"

#include <algorithm>
#include <utility>

namespace
{

constexpr int longestShownLine = 500; // octets; more is no help to a reader
/// No server means more; one that says more is not to keep its mails for ever.
constexpr std::chrono::seconds longestLoginDelay = std::chrono::hours(24);

QByteArrayView withoutLineEnd(QByteArrayView line)
{
    while (!line.isEmpty() && (line.back() == '\n' || line.back() == '\r'))
        line.chop(1);
    return line;
}

QByteArrayView firstWord(QByteArrayView line)
{
    qsizetype length = 0;
    while (length < line.size() && line[length] != ' ')
        ++length;
    return line.first(length);
}

} // namespace

Pop3Observer::Pop3Observer(Pop3Trace trace, QByteArray password)
    : m_trace(std::move(trace)), m_password(std::move(password))
{
}

void Pop3Observer::newLine()
{
    m_capabilities = {};
    m_loginWay.clear();
    m_lastReply.clear();
    m_looksLikePop3 = true;
    m_greeted = m_offersApop = m_capaAsked = m_capaListing = m_authenticating = false;
}

void Pop3Observer::sent(QByteArrayView line)
{
    line = withoutLineEnd(line);
    QByteArray shown = line.toByteArray();
    const QByteArray verb = firstWord(line).toByteArray().toUpper();
    if (m_authenticating) {
        shown = "****";
    } else if (verb == "PASS" || verb == "APOP") {
        shown = verb + " ****";
    } else if (verb == "AUTH") {
        // An initial response may follow the mechanism (RFC 5034, 4).
        m_loginWay = firstWord(line.sliced(qMin(line.size(), verb.size() + 1))).toByteArray().toUpper();
        shown = "AUTH " + m_loginWay + (shown.count(' ') > 1 ? " ****" : "");
        m_authenticating = true;
    }
    if (verb == "APOP" || verb == "USER")
        m_loginWay = verb;
    if (verb == "CAPA" && !m_authenticating) {
        m_capaAsked = true;
        m_capabilities = {};
    }
    if (m_trace)
        m_trace(Pop3Direction::Sent, presentable(shown));
}

void Pop3Observer::received(QByteArrayView line)
{
    line = withoutLineEnd(line);
    if (m_trace)
        m_trace(Pop3Direction::Received, presentable(line));
    if (m_capaListing) {
        readCapability(line);
        return;
    }
    m_lastReply = line.toByteArray();
    if (line.startsWith("+OK") || line.startsWith("-ERR"))
        m_authenticating = false;
    if (!m_greeted) {
        // A time stamp in the greeting offers APOP (RFC 1939, 7).
        m_greeted = true;
        m_looksLikePop3 = line.startsWith("+OK") || line.startsWith("-ERR");
        m_offersApop = m_lastReply.contains('<') && m_lastReply.contains('>');
    } else if (m_capaAsked) {
        m_capaAsked = false;
        m_capaListing = line.startsWith("+OK");
    }
}

void Pop3Observer::readCapability(QByteArrayView line)
{
    if (line == ".") {
        m_capaListing = false;
        return;
    }
    const QByteArrayList words = line.toByteArray().simplified().toUpper().split(' ');
    if (words.first() == "PIPELINING")
        m_capabilities.pipelining = true;
    else if (words.first() == "SASL")
        m_capabilities.saslMechanisms = words.mid(1);
    else if (words.first() == "LOGIN-DELAY")
        m_capabilities.loginDelay =
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
