#pragma once

#include <QByteArray>
#include <QString>

/// The other end of the simulator's line, as plain as a terminal: no driver, no Qt event loop.
class SerialPeer
{
public:
    explicit SerialPeer(const QString &device);
    ~SerialPeer();
    SerialPeer(const SerialPeer &) = delete;
    SerialPeer &operator=(const SerialPeer &) = delete;

    void write(const QByteArray &octets) const;
    /// Waits until that many octets have come (at most 20 s) and returns what came; never more than count.
    QByteArray read(qsizetype count) const;
    /// Everything until the line hangs up; "(still there)" at the end when it does not.
    QByteArray readToHangUp() const;

private:
    int m_descriptor;
};
