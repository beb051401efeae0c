#pragma once

#include "simulator/line/LineEnd.h"

#include <QTcpServer>
#include <QTcpSocket>

namespace simulator
{
/// A raw serial server: the line is a TCP connection. One program at a time has it; the next one is hung up.
class NetworkEnd final : public LineEnd
{
public:
    /// place: [ADDRESS:]PORT; this machine alone without ADDRESS, and port 0 takes a free one.
    explicit NetworkEnd(const QString &place);

    void plug() override;
    void unplug() override;
    [[nodiscard]] bool isPlugged() const override { return m_server.isListening(); }
    [[nodiscard]] qsizetype write(const QByteArray &octets) override;
    /// A network has no speed.
    [[nodiscard]] bool isPeerAt(int) const override { return true; }
    [[nodiscard]] QString name() const override;

private:
    void take();

    QHostAddress m_address{QHostAddress::LocalHost};
    quint16 m_port = 0;
    QTcpServer m_server;
    QTcpSocket *m_peer = nullptr;
};
} // namespace simulator
