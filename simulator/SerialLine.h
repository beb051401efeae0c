#pragma once

#include "simulator/LinePacer.h"

#include <QObject>
#include <QSocketNotifier>
#include <QString>
#include <QTimer>
#include <optional>

namespace simulator
{
/// The modem's end of a serial line: a pseudo-terminal whose other end is reached through a symbolic link.
///
/// The line stays up while programs open and close it; what a program left unread is discarded when it
/// closes, as a serial driver does. Linux only (inotify tells of open and close).
class SerialLine : public QObject
{
    Q_OBJECT

public:
    /// link: where the symbolic link goes.
    explicit SerialLine(QString link);
    ~SerialLine() override;
    SerialLine(const SerialLine &) = delete;
    SerialLine &operator=(const SerialLine &) = delete;

    /// Creates a new pseudo-terminal and its link, in place of an older link. Nothing happens when plugged.
    /// Throws std::runtime_error with a readable text when that is impossible, for instance because a file
    /// that is no link has the link's name.
    void plug();
    /// Hangs up: the program at the other end gets an error and the link is gone.
    void unplug();
    /// Hangs up as soon as so many more octets have crossed the line, both directions counted together; plugs
    /// in again after replugAfter when that is given.
    void unplugAfter(qint64 octets, std::optional<std::chrono::milliseconds> replugAfter);
    void replugAfter(std::chrono::milliseconds delay);

    /// Line speed with ten bits to the octet; 0 is as fast as it goes.
    void setBaud(int baud);
    [[nodiscard]] int baud() const { return m_toPeer.baud(); }

    /// The speed (bits per second) at which both ends understand each other; at any other setting of the
    /// program's end both hear noise. 0: whatever the program sets.
    void setOnlySpeed(int speed) { m_onlySpeed = speed; }

    /// Octets to the peer. Lost while unplugged, and beyond 4 MiB that nobody reads.
    void write(const QByteArray &octets);

    [[nodiscard]] bool isPlugged() const { return m_master >= 0; }
    [[nodiscard]] bool isOpenedByPeer() const { return m_peers > 0; }
    /// Octets that came from programs since the start, whoever sent them.
    [[nodiscard]] qint64 octetsIn() const { return m_octetsIn; }
    [[nodiscard]] const QString &link() const { return m_link; }
    [[nodiscard]] const QString &devicePath() const { return m_devicePath; }

signals:
    void received(const QByteArray &octets);
    void plugged();
    void unplugged();
    void peerChanged(bool open);

private:
    void createLink();
    void watchPeers();
    void readPeerEvents();
    void readMaster();
    void flush();
    void closeDescriptors();
    bool countCrossing(QByteArray &octets);
    [[nodiscard]] bool hasPeersSpeed() const;

    QString m_link;
    QString m_devicePath;
    int m_master = -1;
    int m_slave =
        -1; ///< kept open, or the master would report a hang-up whenever no program has the line open
    int m_inotify = -1;
    int m_peers = 0;
    QSocketNotifier *m_readable = nullptr;
    QSocketNotifier *m_writable = nullptr;
    QSocketNotifier *m_peerEvents = nullptr;
    LinePacer m_toPeer;
    LinePacer m_fromPeer;
    QByteArray m_unwritten;
    qint64 m_octetsIn = 0;
    int m_onlySpeed = 0;
    std::optional<qint64> m_octetsUntilUnplug;
    std::optional<std::chrono::milliseconds> m_replugAfterUnplug;
    QTimer m_replug;
};
} // namespace simulator
