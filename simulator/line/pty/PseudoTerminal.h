#pragma once

#include "simulator/line/LineEnd.h"

#include <QSocketNotifier>

namespace simulator
{
/// A pseudo-terminal whose other end is reached through a symbolic link. Linux only (inotify tells of open
/// and close).
class PseudoTerminal final : public LineEnd
{
public:
    /// link: where the symbolic link goes.
    explicit PseudoTerminal(QString link) : m_link(std::move(link)) {}
    ~PseudoTerminal() override;
    PseudoTerminal(const PseudoTerminal &) = delete;
    PseudoTerminal &operator=(const PseudoTerminal &) = delete;

    /// A new pseudo-terminal with its link, in place of an older link; a file that is no link is left alone.
    void plug() override;
    void unplug() override;
    [[nodiscard]] bool isPlugged() const override { return m_master >= 0; }
    [[nodiscard]] qsizetype write(const QByteArray &octets) override;
    [[nodiscard]] bool isPeerAt(int speed) const override;
    [[nodiscard]] QString name() const override;

private:
    void create();
    void createLink();
    void watchPeers();
    void readPeerEvents();
    void readMaster();
    void closeDescriptors();

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
};
} // namespace simulator
