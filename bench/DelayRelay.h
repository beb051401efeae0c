#pragma once

#include <QThread>
#include <atomic>
#include <chrono>
#include <functional>

class QTcpServer;
class QTcpSocket;

/// A line with a round-trip time: passes TCP connections on to a loopback port and holds every octet back for
/// half of that time.
class DelayRelay
{
public:
    DelayRelay(int targetPort, std::chrono::milliseconds roundTrip);
    ~DelayRelay();
    DelayRelay(const DelayRelay &) = delete;
    DelayRelay &operator=(const DelayRelay &) = delete;

    [[nodiscard]] int port() const { return m_port; }
    /// Times that the client spoke after the server had, over all connections: round trips.
    [[nodiscard]] qint64 turns() const { return m_turns; }

private:
    void accept(QTcpServer &listener);
    void pass(QTcpSocket *from, QTcpSocket *to, const std::function<void()> &heard) const;

    const int m_targetPort;
    const std::chrono::milliseconds m_delay;
    const int m_port;
    std::atomic<qint64> m_turns = 0;
    QThread m_thread;
};
