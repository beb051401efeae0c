#include "tests/support/Loopback.h"

#include <QRandomGenerator>
#include <QTcpServer>

int listenOnLoopback(QTcpServer &server)
{
    // Below the ports that the system gives out by itself, and within the 16-bit signed range of a mail
    // account's port.
    constexpr int lowest = 12'000;
    constexpr int highest = 32'000;
    while (!server.listen(QHostAddress::LocalHost,
                          quint16(QRandomGenerator::global()->bounded(lowest, highest))))
        ;
    return server.serverPort();
}

int freeLoopbackPort()
{
    QTcpServer server;
    return listenOnLoopback(server);
}
