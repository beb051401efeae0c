#include "tests/support/Loopback.h"

#include <QDeadlineTimer>
#include <QRandomGenerator>
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{
sockaddr_in loopback(int port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<uint16_t>(port));
    return address;
}

bool greets(int port, int milliseconds)
{
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = loopback(port);
    bool greeted = false;
    if (::connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0) {
        pollfd line{fd, POLLIN, 0};
        char octet = 0;
        greeted = ::poll(&line, 1, milliseconds) == 1 && ::recv(fd, &octet, 1, 0) == 1;
    }
    ::close(fd);
    return greeted;
}
} // namespace

int listenOnLoopback(int &fd)
{
    // Below the ports that the system gives out by itself, and within the 16-bit signed range of a mail
    // account's port.
    constexpr int lowest = 12'000;
    constexpr int highest = 32'000;
    for (;;) {
        const int port = QRandomGenerator::global()->bounded(lowest, highest);
        fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const sockaddr_in address = loopback(port);
        if (::bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0 &&
            ::listen(fd, SOMAXCONN) == 0)
            return port;
        ::close(fd);
    }
}

int freeLoopbackPort()
{
    int fd = -1;
    const int port = listenOnLoopback(fd);
    ::close(fd);
    return port;
}

bool waitForGreeting(int port, std::chrono::milliseconds limit)
{
    const QDeadlineTimer deadline(limit);
    while (!deadline.hasExpired()) {
        if (greets(port, 1000))
            return true;
        ::poll(nullptr, 0, 20); // between two tries; the condition is the greeting
    }
    return false;
}
