#include "simulator/line/tcp/NetworkEnd.h"

#include <stdexcept>

using namespace Qt::StringLiterals;

namespace simulator
{
NetworkEnd::NetworkEnd(const QString &place) : m_port(place.section(u':', -1).toUShort())
{
    if (place.contains(u':'))
        m_address = QHostAddress(place.section(u':', 0, -2));
    connect(&m_server, &QTcpServer::newConnection, this, &NetworkEnd::take);
}

void NetworkEnd::plug()
{
    if (!m_server.listen(m_address, m_port))
        throw std::runtime_error(u"cannot listen: %1"_s.arg(m_server.errorString()).toStdString());
    m_port = m_server.serverPort(); // the same one when it is plugged in again
}

void NetworkEnd::unplug()
{
    m_server.close();
    if (m_peer != nullptr)
        m_peer->abort();
}

void NetworkEnd::take()
{
    QTcpSocket *socket = m_server.nextPendingConnection();
    if (m_peer != nullptr) {
        socket->abort();
        socket->deleteLater();
        return;
    }
    m_peer = socket;
    m_peer->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    connect(m_peer, &QTcpSocket::readyRead, this, [this, socket] {
        if (m_peer == socket)
            emit received(socket->readAll());
    });
    connect(m_peer, &QTcpSocket::disconnected, this, [this, socket] {
        m_peer = nullptr;
        socket->deleteLater();
        emit peersChanged(false);
    });
    emit peersChanged(true);
}

qsizetype NetworkEnd::write(const QByteArray &octets)
{
    return m_peer == nullptr ? octets.size() : m_peer->write(octets);
}

QString NetworkEnd::name() const
{
    return u"tcp://%1:%2"_s.arg(m_address.toString()).arg(m_port);
}
} // namespace simulator
