#include "bench/DelayRelay.h"

#include "tests/support/Loopback.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace
{

constexpr qsizetype octetsOnTheWay = 262144;

void sendAtOnce(int fd)
{
    const int on = 1;
    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

} // namespace

DelayRelay::DelayRelay(int targetPort, std::chrono::milliseconds roundTrip)
    : m_targetPort(targetPort),
      m_delay(roundTrip / 2),
      m_wakeUp(::eventfd(0, EFD_CLOEXEC)),
      m_port(listenOnLoopback(m_listener)),
      m_thread([this] { run(); })
{
}

DelayRelay::~DelayRelay()
{
    ::eventfd_write(m_wakeUp, 1);
    m_thread.join();
    for (const Connection &connection : m_connections) {
        ::close(connection.toServer.from);
        ::close(connection.toServer.to);
    }
    ::close(m_listener);
    ::close(m_wakeUp);
}

void DelayRelay::run()
{
    for (;;) {
        std::vector<pollfd> waits = {{m_wakeUp, POLLIN, 0}, {m_listener, POLLIN, 0}};
        for (const Connection &connection : m_connections) {
            for (const Direction *direction : {&connection.toServer, &connection.toClient}) {
                const bool admits = !direction->isEnded && direction->octets < octetsOnTheWay;
                waits.push_back({admits ? direction->from : -1, POLLIN, 0});
            }
        }
        ::poll(waits.data(), waits.size(), nextDue(m_connections));
        if (waits[0].revents)
            return;
        size_t wait = 2;
        for (Connection &connection : m_connections) {
            if (waits[wait++].revents) {
                m_turns += std::exchange(connection.clientsTurn, false) ? 1 : 0;
                read(connection.toServer);
            }
            if (waits[wait++].revents) {
                connection.clientsTurn = true;
                read(connection.toClient);
            }
        }
        m_connections.remove_if([](Connection &connection) {
            const bool isAlive = deliverDue(connection.toServer) && deliverDue(connection.toClient);
            if (isAlive && !isOver(connection))
                return false;
            ::close(connection.toServer.from);
            ::close(connection.toServer.to);
            return true;
        });
        if (waits[1].revents)
            accept();
    }
}

void DelayRelay::accept()
{
    const int client = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
    const int server = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<uint16_t>(m_targetPort));
    if (client < 0 || ::connect(server, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
        qFatal("the relay cannot connect");
    sendAtOnce(client);
    sendAtOnce(server);
    m_connections.push_back({{client, server}, {server, client}});
}

void DelayRelay::read(Direction &direction)
{
    std::array<char, 65536> chunk;
    const ssize_t octets = ::recv(direction.from, chunk.data(), chunk.size(), 0);
    direction.isEnded = octets <= 0;
    if (direction.isEnded)
        return;
    direction.onTheWay.push_back({Clock::now() + m_delay, QByteArray(chunk.data(), octets)});
    direction.octets += octets;
}

bool DelayRelay::deliverDue(Direction &direction)
{
    while (!direction.onTheWay.empty() && direction.onTheWay.front().due <= Clock::now()) {
        const QByteArray &octets = direction.onTheWay.front().octets;
        if (::send(direction.to, octets.constData(), size_t(octets.size()), MSG_NOSIGNAL) != octets.size())
            return false;
        direction.octets -= octets.size();
        direction.onTheWay.pop_front();
    }
    return true;
}

bool DelayRelay::isOver(const Connection &connection)
{
    return (connection.toClient.isEnded && connection.toClient.onTheWay.empty()) ||
           (connection.toServer.isEnded && connection.toServer.onTheWay.empty());
}

int DelayRelay::nextDue(const std::list<Connection> &connections)
{
    auto next = Clock::time_point::max();
    for (const Connection &connection : connections) {
        for (const Direction *direction : {&connection.toServer, &connection.toClient}) {
            if (!direction->onTheWay.empty())
                next = std::min(next, direction->onTheWay.front().due);
        }
    }
    if (next == Clock::time_point::max())
        return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now());
    return static_cast<int>(std::max<qint64>(left.count(), 0));
}
