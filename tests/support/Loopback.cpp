#include "tests/support/Loopback.h"

#include <QRandomGenerator>
#include <arpa/inet.h>
#include <netinet/in.h>
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
