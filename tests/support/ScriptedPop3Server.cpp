#include "tests/support/ScriptedPop3Server.h"

#include "tests/support/Loopback.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <future>
#include <sys/socket.h>

namespace
{
constexpr int waitMs = 10; // until the end is looked for again
}

ScriptedPop3Server::ScriptedPop3Server(const Script &script)
{
    become(script);
    std::promise<int> port;
    m_thread = std::thread([this, &port] {
        QTcpServer listener;
        port.set_value(listenOnLoopback(listener));
        run(listener);
    });
    m_port = port.get_future().get();
}

ScriptedPop3Server::~ScriptedPop3Server()
{
    m_isEnding = true;
    QTcpSocket wakeUp;
    wakeUp.connectToHost(QHostAddress::LocalHost, quint16(m_port));
    wakeUp.waitForConnected();
    m_thread.join();
}

void ScriptedPop3Server::become(const Script &script)
{
    const std::lock_guard lock(m_mutex);
    m_next = std::make_shared<const Script>(script);
}

void ScriptedPop3Server::run(QTcpServer &listener)
{
    while (listener.waitForNewConnection(-1) && !m_isEnding) {
        const std::unique_ptr<QTcpSocket> line(listener.nextPendingConnection());
        line->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        m_line = line.get();
        ++m_connections;
        m_script = copyOf(m_next);
        serve();
    }
}

void ScriptedPop3Server::serve()
{
    m_marked.clear();
    m_isClosing = m_isHanging = false;
    QByteArray line = "GREETING";
    do {
        const QByteArray verb = line.split(' ').first().toUpper();
        m_isHanging = m_isHanging || verb == m_script->hangsAt;
        m_isDripping = verb == m_script->dripsAt;
        if (!m_isHanging && !answer(line))
            return;
        if (m_script->onlyGreets) {
            ::shutdown(static_cast<int>(m_line->socketDescriptor()), SHUT_WR);
            m_isHanging = true;
        }
    } while (!m_isClosing && readLine(line));
}

bool ScriptedPop3Server::isOver() const
{
    return m_isEnding || m_line->state() != QAbstractSocket::ConnectedState;
}

bool ScriptedPop3Server::readLine(QByteArray &line)
{
    while (!m_line->canReadLine()) {
        if (!m_line->waitForReadyRead(waitMs) && isOver())
            return false;
    }
    line = m_line->readLine().trimmed();
    if (m_script->dropsEarlyInput) {
        while (m_line->waitForReadyRead(5)) // time for what is sent together
            ;
        m_line->readAll();
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
    if (verb == "STAT")
        return say(m_script->statAnswer.isEmpty() ? "+OK " + QByteArray::number(count) + " 1000"
                                                  : m_script->statAnswer);
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
    const qint64 allowed = m_script->cutAfterOctets - m_sentOctets;
    const bool isCut = !m_wasCut && octets.size() > allowed;
    if (isCut)
        octets.truncate(allowed);
    m_wasCut = m_wasCut || isCut;
    m_sentOctets += octets.size();
    const qsizetype piece = m_isDripping ? 1 : octets.size();
    for (qsizetype at = 0; at < octets.size(); at += piece) {
        if (m_isDripping)
            std::this_thread::sleep_for(m_script->drip);
        m_line->write(octets.sliced(at, piece));
        while (m_line->bytesToWrite() > 0) {
            if (!m_line->waitForBytesWritten(waitMs) && isOver())
                return false;
        }
    }
    return !isCut;
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
