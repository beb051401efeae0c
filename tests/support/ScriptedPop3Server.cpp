#include "tests/support/ScriptedPop3Server.h"

#include "tests/support/Loopback.h"

#include <algorithm>
#include <array>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

ScriptedPop3Server::ScriptedPop3Server(Script script) : m_firstScript(std::move(script))
{
    m_wakeUp = ::eventfd(0, EFD_CLOEXEC);
    m_port = listenOnLoopback(m_listener);
    m_thread = std::thread([this] { run(); });
}

ScriptedPop3Server::~ScriptedPop3Server()
{
    ::eventfd_write(m_wakeUp, 1);
    m_thread.join();
    ::close(m_listener);
    ::close(m_wakeUp);
}

QByteArrayList ScriptedPop3Server::received() const
{
    const std::lock_guard lock(m_mutex);
    return m_received;
}

QList<int> ScriptedPop3Server::deleted() const
{
    const std::lock_guard lock(m_mutex);
    return m_deleted;
}

void ScriptedPop3Server::run()
{
    for (;;) {
        std::array waits{pollfd{m_listener, POLLIN, 0}, pollfd{m_wakeUp, POLLIN, 0}};
        ::poll(waits.data(), 2, -1);
        if (waits[1].revents)
            return;
        const int fd = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0)
            continue;
        if (m_connections++ > 0 && m_firstScript.later)
            m_script = m_firstScript.later.get();
        serve(fd);
        ::close(fd);
    }
}

void ScriptedPop3Server::serve(int fd)
{
    m_fd = fd;
    m_input.clear();
    m_marked.clear();
    m_closing = m_dripping = m_hanging = false;
    const int on = 1;
    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    QByteArray line;
    if (m_script->hangsAt != "GREETING" && !say(m_script->greeting))
        return;
    while (!m_closing && readLine(line)) {
        const QByteArray verb = line.split(' ').first().toUpper();
        m_hanging = m_hanging || verb == m_script->hangsAt || m_script->hangsAt == "GREETING";
        if (m_hanging)
            continue;
        m_dripping = verb == m_script->dripsAt;
        if (!answer(line))
            return;
    }
}

bool ScriptedPop3Server::readLine(QByteArray &line)
{
    for (;;) {
        if (const qsizetype end = m_input.indexOf('\n'); end >= 0) {
            line = m_input.left(end).trimmed();
            m_input.remove(0, end + 1);
            if (m_script->dropsEarlyInput)
                m_input.clear();
            const std::lock_guard lock(m_mutex);
            m_received << line;
            return true;
        }
        std::array waits{pollfd{m_fd, POLLIN, 0}, pollfd{m_wakeUp, POLLIN, 0}};
        ::poll(waits.data(), 2, -1);
        if (waits[1].revents)
            return false;
        std::array<char, 4096> octets{};
        const ssize_t got = ::recv(m_fd, octets.data(), octets.size(), 0);
        if (got <= 0)
            return false;
        m_input.append(octets.data(), got);
    }
}

bool ScriptedPop3Server::answer(const QByteArray &line)
{
    const QByteArrayList words = line.split(' ');
    const QByteArray verb = words.first().toUpper();
    const int number = words.value(1).toInt();
    const bool known = number >= 1 && number <= m_script->messages.size();
    const bool refused = !known || m_script->refusedMessages.contains(number);
    if (verb == "CAPA") {
        return m_script->knowsCapa ? say("+OK") && sendContent(m_script->capabilities.join("\r\n") + "\r\n")
                                   : say("-ERR unknown");
    }
    if (verb == "AUTH")
        return authenticate(words);
    if (verb == "APOP")
        return login(verb);
    if (verb == "USER")
        return say("+OK");
    if (verb == "PASS")
        return login("USER");
    if (verb == "STAT") {
        qint64 octets = 0;
        for (const QByteArray &message : m_script->messages)
            octets += message.size();
        return say(!m_script->statAnswer.isEmpty() ? m_script->statAnswer
                                                   : "+OK " + QByteArray::number(m_script->messages.size()) +
                                                         ' ' + QByteArray::number(octets));
    }
    if (verb == "LIST") {
        QByteArray content;
        for (qsizetype i = 0; i < m_script->messages.size(); ++i)
            content += QByteArray::number(i + 1) + ' ' +
                       QByteArray::number(m_script->messages[i].size() + m_script->listedTooMuch) + "\r\n";
        return say("+OK") && sendContent(content);
    }
    if (verb == "UIDL")
        return m_script->knowsUidl ? listUids() : say("-ERR unknown");
    if (verb == "RETR")
        return refused ? say("-ERR no such message")
                       : say("+OK") && sendContent(m_script->messages[number - 1]);
    if (verb == "DELE") {
        if (!refused)
            m_marked << number;
        return say(refused ? "-ERR no such message" : "+OK");
    }
    if (verb == "QUIT") {
        m_closing = true;
        {
            const std::lock_guard lock(m_mutex);
            m_deleted += m_marked;
        }
        return say("+OK");
    }
    return say("-ERR unknown");
}

bool ScriptedPop3Server::authenticate(const QByteArrayList &words)
{
    const QByteArray mechanism = words.value(1).toUpper();
    int challenges = mechanism == "PLAIN" ? 1 : mechanism == "LOGIN" ? 2 : 1;
    challenges -= words.size() > 2 ? 1 : 0; // an initial response
    QByteArray line;
    for (int i = 0; i < challenges; ++i) {
        if (!say(mechanism == "CRAM-MD5" ? "+ PDEuMkB4Pg==" : "+ ") || !readLine(line))
            return false;
    }
    return login(mechanism);
}

bool ScriptedPop3Server::login(const QByteArray &way)
{
    const bool refused = m_script->refusedWays.contains(way);
    m_closing = refused && m_script->hangUpAfterRefusedLogin;
    return say(refused ? m_script->refusal : "+OK welcome");
}

bool ScriptedPop3Server::listUids()
{
    QByteArray content;
    for (qsizetype i = 0; i < m_script->messages.size(); ++i) {
        const QByteArray uid = m_script->uids.value(i, "uid-" + QByteArray::number(i + 1));
        if (uid != "-")
            content += QByteArray::number(i + 1) + ' ' + uid + "\r\n";
    }
    return say("+OK") && sendContent(content);
}

bool ScriptedPop3Server::say(const QByteArray &line)
{
    return sendOctets((m_script->inLowerCase ? line.toLower() : line) + "\r\n");
}

bool ScriptedPop3Server::sendContent(const QByteArray &content)
{
    QByteArray stuffed = content;
    if (stuffed.startsWith('.'))
        stuffed.prepend('.');
    stuffed.replace("\r\n.", "\r\n..");
    if (!stuffed.isEmpty() && !stuffed.endsWith("\r\n"))
        stuffed += "\r\n";
    return sendOctets(stuffed + ".\r\n");
}

bool ScriptedPop3Server::sendOctets(const QByteArray &octets)
{
    QByteArray rest = octets;
    if (m_script->bareLineFeeds)
        rest.replace("\r\n", "\n");
    while (!rest.isEmpty()) {
        const qint64 allowed = m_wasCut ? rest.size() : m_script->cutAfterOctets - m_sentOctets;
        if (allowed <= 0) {
            m_wasCut = true;
            return false;
        }
        std::array waits{pollfd{m_wakeUp, POLLIN, 0}, pollfd{m_fd, POLLOUT, 0}};
        const bool ended =
            ::poll(waits.data(), m_dripping ? 1 : 2, m_dripping ? m_script->dripMilliseconds : -1) < 0;
        if (ended || waits[0].revents)
            return false;
        const qint64 piece = m_dripping ? 1 : std::min<qint64>(rest.size(), allowed);
        const ssize_t sent =
            ::send(m_fd, rest.constData(), static_cast<size_t>(piece), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0)
            return false;
        m_sentOctets += sent;
        rest.remove(0, sent);
    }
    return true;
}
