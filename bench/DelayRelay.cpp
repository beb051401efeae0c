#include "bench/DelayRelay.h"

#include "tests/support/Loopback.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>
#include <memory>

DelayRelay::DelayRelay(int targetPort, std::chrono::milliseconds roundTrip)
    : m_targetPort(targetPort), m_delay(roundTrip / 2), m_port(freeLoopbackPort())
{
    auto *listener = new QTcpServer;
    if (!listener->listen(QHostAddress::LocalHost, quint16(m_port)))
        qFatal("the relay cannot listen");
    listener->moveToThread(&m_thread);
    QObject::connect(listener, &QTcpServer::newConnection, listener, [this, listener] { accept(*listener); });
    QObject::connect(&m_thread, &QThread::finished, listener, &QObject::deleteLater);
    m_thread.start();
}

DelayRelay::~DelayRelay()
{
    m_thread.quit();
    m_thread.wait();
}

void DelayRelay::accept(QTcpServer &listener)
{
    while (QTcpSocket *client = listener.nextPendingConnection()) {
        auto *server = new QTcpSocket(client);
        server->connectToHost(QHostAddress::LocalHost, quint16(m_targetPort));
        if (!server->waitForConnected())
            qFatal("the relay cannot connect");
        const auto isClientsTurn = std::make_shared<bool>(true); // the server spoke last
        pass(client, server,
             [this, isClientsTurn] { m_turns += std::exchange(*isClientsTurn, false) ? 1 : 0; });
        pass(server, client, [isClientsTurn] { *isClientsTurn = true; });
    }
}

void DelayRelay::pass(QTcpSocket *from, QTcpSocket *to, const std::function<void()> &heard) const
{
    to->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    QObject::connect(from, &QTcpSocket::readyRead, to, [this, from, to, heard] {
        heard();
        QTimer::singleShot(m_delay, Qt::PreciseTimer, to,
                           [to, octets = from->readAll()] { to->write(octets); });
    });
    QObject::connect(from, &QTcpSocket::disconnected, to, [this, to] {
        QTimer::singleShot(m_delay, Qt::PreciseTimer, to, [to] { to->disconnectFromHost(); });
    });
}
