#pragma once

#include <QByteArray>
#include <atomic>
#include <chrono>
#include <deque>
#include <list>
#include <thread>

/// A line with a round-trip time: passes TCP connections on to a loopback port and holds every octet back for
/// half of that time. A bounded number of octets is on its way in each direction, as on a real line.
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
    using Clock = std::chrono::steady_clock;
    struct Direction {
        int from;
        int to;
        struct Chunk {
            Clock::time_point due;
            QByteArray octets;
        };
        std::deque<Chunk> onTheWay = {};
        qsizetype octets = 0;
        bool isEnded = false; // from has said all
    };
    struct Connection {
        Direction toServer;
        Direction toClient;
        bool clientsTurn = true; // the server spoke last
    };

    void run();
    void accept();
    void read(Direction &direction);
    static bool deliverDue(Direction &direction);
    static bool isOver(const Connection &connection);
    static int nextDue(const std::list<Connection> &connections);

    int m_targetPort;
    Clock::duration m_delay;
    int m_listener = -1;
    int m_wakeUp = -1; // readable when the relay is to end
    int m_port = 0;
    std::atomic<qint64> m_turns = 0;
    std::list<Connection> m_connections;
    std::thread m_thread; // last: everything else must exist before it runs
};
