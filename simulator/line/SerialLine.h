#pragma once

#include "simulator/line/LineEnd.h"
#include "simulator/line/LinePacer.h"

#include <QTimer>
#include <memory>

namespace simulator
{
/// The modem's end of a serial line, at the speed of one, that hangs up when it is told to.
///
/// The line stays up while programs open and close it; what a program left unread is discarded when it
/// closes, as a serial driver does.
class SerialLine : public QObject
{
    Q_OBJECT

public:
    explicit SerialLine(std::unique_ptr<LineEnd> end);
    ~SerialLine() override;
    SerialLine(const SerialLine &) = delete;
    SerialLine &operator=(const SerialLine &) = delete;

    /// Nothing happens when plugged. Throws std::runtime_error with a readable text when it is impossible.
    void plug();
    /// Hangs up.
    void unplug();
    void replugAfter(std::chrono::milliseconds delay);

    /// Line speed with ten bits to the octet; 0 is as fast as it goes.
    void setBaud(int baud);

    /// The speed (bits per second) at which both ends understand each other; at any other setting of the
    /// program's end both hear noise. 0: whatever the program sets.
    void setOnlySpeed(int speed) { m_onlySpeed = speed; }

    /// Octets to the peer. Lost while unplugged, and beyond 4 MiB that nobody reads.
    void write(const QByteArray &octets);

    [[nodiscard]] bool isPlugged() const { return m_end->isPlugged(); }
    [[nodiscard]] bool isOpenedByPeer() const { return m_isOpenedByPeer; }
    /// Octets that came from programs since the start, whoever sent them.
    [[nodiscard]] qint64 octetsIn() const { return m_octetsIn; }
    [[nodiscard]] QString name() const { return m_end->name(); }

signals:
    void received(const QByteArray &octets);
    void plugged();
    void unplugged();
    void peerChanged(bool open);

private:
    void takeFromPeer(const QByteArray &octets);
    void noteOpen(bool isOpen);
    void flush();
    void forgetOctets();
    [[nodiscard]] bool hasPeersSpeed() const { return m_onlySpeed == 0 || m_end->isPeerAt(m_onlySpeed); }

    std::unique_ptr<LineEnd> m_end;
    bool m_isOpenedByPeer = false;
    LinePacer m_toPeer;
    LinePacer m_fromPeer;
    QByteArray m_unwritten;
    qint64 m_octetsIn = 0;
    int m_onlySpeed = 0;
    QTimer m_replug;
};
} // namespace simulator
