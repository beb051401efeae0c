#pragma once

#include <QByteArray>
#include <QString>
#include <array>
#include <atomic>
#include <mutex>
#include <thread>

/// The far end of a serial line: the master side of a pseudo-terminal, served by a thread of its own, so that
/// the blocking calls under test have somebody to talk to.
class PtyPeer
{
public:
    PtyPeer();
    virtual ~PtyPeer();
    PtyPeer(const PtyPeer &) = delete;
    PtyPeer &operator=(const PtyPeer &) = delete;

    [[nodiscard]] QString device() const { return m_device; }
    /// The speed that whoever has it open has set.
    [[nodiscard]] int baud() const;
    void say(const QByteArray &octets);
    /// Unplugs: the device vanishes for whoever has it open.
    void hangUp();

protected:
    /// Called in the peer's thread, until stopServing().
    virtual void heard(const QByteArray &octets) = 0;
    void startServing();
    void stopServing(); ///< to be called by the destructors of subclasses

private:
    void serve();

    QString m_device;
    std::atomic<int> m_master{-1};
    int m_slave = -1;
    std::array<int, 2> m_wake{-1, -1};
    std::thread m_thread;
    std::atomic<bool> m_isHungUp{false};
};
