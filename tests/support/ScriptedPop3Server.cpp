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

ScriptedPop3Server::ScriptedPop3Server(const Script &script)
{
    become(script);
    m_wakeUp = ::eventfd(0, EFD_CLOEXEC);
    m_port = listenOnLoopback(m_listener);
    m_thread = std::thread([this] { run(); });
}

ScriptedPop3Server::~ScriptedPop3Server()
{
    ::eventfd_write(m_wakeUp, 1);
    m_thread.join();
    ::close(m_wakeUp);
}

void ScriptedPop3Server::become(const Script &script)
{
    const std::lock_guard lock(m_mutex);
    m_next = std::make_shared<const Script>(script);
}

/// False when the server is to end.
bool ScriptedPop3Server::waitFor(int fd, short events, std::chrono::milliseconds most) const
{
    std::array waits{pollfd{m_wakeUp, POLLIN, 0}, pollfd{fd, events, 0}};
    ::poll(waits.data(), waits.size(), static_cast<int>(most.count()));
    return waits[0].revents == 0;
}

void ScriptedPop3Server::run()
{
    const auto listener = static_cast<int>(m_listener.socketDescriptor());
    while (waitFor(listener, POLLIN)) {
        m_line = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        ++m_connections;
        m_script = copyOf(m_next);
        serve();
        ::close(m_line);
    }
}

void ScriptedPop3Server::serve()
{
    m_input.clear();
    m_marked.clear();
    m_isClosing = m_isHanging = false;
    const int on = 1;
    ::setsockopt(m_line, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    QByteArray line = "GREETING";
    do {
        const QByteArray verb = line.split(' ').first().toUpper();
        m_isHanging = m_isHanging || verb == m_script->hangsAt;
        m_isDripping = verb == m_script->dripsAt;
        if (!m_isHanging && !answer(line))
            return;
        if (m_script->onlyGreets) {
            ::shutdown(m_line, SHUT_WR);
            m_isHanging = true;
        }
    } while (!m_isClosing && readLine(line));
}

bool ScriptedPop3Server::readLine(QByteArray &line)
{
    std::array<char, 4096> octets{};
    qsizetype end = m_input.indexOf('\n');
    while (end < 0) {
        if (!waitFor(m_line, POLLIN))
            return false;
        const ssize_t got = ::recv(m_line, octets.data(), octets.size(), 0);
        if (got <= 0)
            return false;
        m_input.append(octets.data(), got);
        end = m_input.indexOf('\n');
    }
    line = m_input.left(end).trimmed();
    m_input.remove(0, end + 1);
    if (m_script->dropsEarlyInput &&
        waitFor(-1, 0, std::chrono::milliseconds(5))) { // time for what is sent together
        static_cast<void>(::recv(m_line, octets.data(), octets.size(), MSG_DONTWAIT));
        m_input.clear();
    }
    const std::lock_guard lock(m_mutex);
    if (!m_isHanging)
        m_received << line;
    return true;
}

bool ScriptedPop3Server::answer(const QByteArray &line)
{
    const QByteArrayList words = line.split(' ');
    const QByteArray verb = words.first().toUpper();
    const auto count = static_cast<int>(m_script->messages.size());
    const int number = words.value(1).toInt();
    const bool isRefused = number < 1 || number > count || m_script->refusedMessages.contains(number);
    QByteArray content;
    if (verb == "GREETING")
        return say(m_script->greeting);
    if (verb == "CAPA" && m_script->knowsCapa) {
        content = m_script->capabilities.join("\r\n") + "\r\n";
        content += m_script->sasl.isEmpty() ? "" : "SASL " + m_script->sasl + "\r\n";
        return sayContent(content + (m_script->pipelining ? "PIPELINING" : ""));
    }
    if (verb == "AUTH")
        return authenticate(words);
    if (verb == "APOP" || verb == "PASS")
        return login(verb == "PASS" ? "USER" : verb);
    if (verb == "STAT" && !m_script->statAnswer.isEmpty())
        return say(m_script->statAnswer);
    if (verb == "STAT")
        return say("+OK " + QByteArray::number(count) + ' ' +
                   QByteArray::number(m_script->messages.join().size()));
    if (verb == "LIST" || (verb == "UIDL" && m_script->knowsUidl)) {
        for (int i = 0; i < count; ++i) {
            const QByteArray position = QByteArray::number(i + 1);
            const QByteArray value =
                verb == "UIDL" ? m_script->uids.value(i, "uid-" + position)
                               : QByteArray::number(m_script->messages[i].size() + m_script->listedTooMuch);
            content += value == "-" ? "" : position + ' ' + value + "\r\n";
        }
        return sayContent(content);
    }
    if (verb == "RETR" && m_script->fatalMessages.contains(number))
        return false;
    if (verb == "RETR" && !isRefused)
        return sayContent(m_script->messages[number - 1]);
    if (verb == "DELE" && !isRefused)
        m_marked << number;
    if (verb == "QUIT") {
        m_isClosing = true;
        const std::lock_guard lock(m_mutex);
        m_deleted += m_marked;
    }
    const bool isTaken = verb == "USER" || verb == "QUIT" || (verb == "DELE" && !isRefused);
    return say(isTaken ? "+OK" : "-ERR refused");
}

bool ScriptedPop3Server::authenticate(const QByteArrayList &words)
{
    const QByteArray mechanism = words.value(1).toUpper();
    const int hasInitialResponse = words.size() > 2 ? 1 : 0;
    QByteArray line;
    for (int i = hasInitialResponse; i < (mechanism == "LOGIN" ? 2 : 1); ++i) {
        if (!say(mechanism == "CRAM-MD5" ? "+ PDEuMkB4Pg==" : "+ ") || !readLine(line))
            return false;
    }
    return login(mechanism);
}

bool ScriptedPop3Server::login(const QByteArray &way)
{
    const bool isRefused = m_script->refusedWays.contains(way);
    m_isClosing = isRefused && m_script->hangUpAfterRefusedLogin;
    return say(isRefused ? m_script->refusal : "+OK welcome");
}

bool ScriptedPop3Server::say(const QByteArray &line)
{
    return send(line + "\r\n");
}

bool ScriptedPop3Server::sayContent(const QByteArray &content)
{
    QByteArray stuffed = "\r\n" + content;
    stuffed.replace("\r\n.", "\r\n..");
    stuffed.remove(0, 2);
    if (!stuffed.isEmpty() && !stuffed.endsWith("\r\n"))
        stuffed += "\r\n";
    return say("+OK") && send(stuffed + ".\r\n");
}

bool ScriptedPop3Server::send(QByteArray octets)
{
    if (m_script->bareLineFeeds)
        octets.replace("\r\n", "\n");
    while (!octets.isEmpty()) {
        const qint64 allowed = m_wasCut ? octets.size() : m_script->cutAfterOctets - m_sentOctets;
        m_wasCut = m_wasCut || allowed <= 0;
        const bool goesOn = m_isDripping ? waitFor(-1, 0, m_script->drip) : waitFor(m_line, POLLOUT);
        if (allowed <= 0 || !goesOn)
            return false;
        const qint64 piece = m_isDripping ? 1 : std::min<qint64>(octets.size(), allowed);
        const ssize_t sent =
            ::send(m_line, octets.constData(), static_cast<size_t>(piece), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0)
            return false;
        m_sentOctets += sent;
        octets.remove(0, sent);
    }
    return true;
}

QByteArrayList numberedMails(int count)
{
    QByteArrayList mails;
    for (int number = 1; number <= count; ++number)
        mails += "Subject: " + QByteArray::number(number) +
                 "\r\nContent-Type: multipart/mixed; boundary=b\r\n\r\n"
                 "--b\r\nContent-Type: text/html\r\n\r\n.x\r\n"
                 "--b\r\nContent-Type: application/pdf; name=a.pdf\r\n\r\naaa\r\n--b--\r\n";
    return mails;
}
