#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <functional>

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
    [[nodiscard]] int descriptor() const { return m_descriptor; }

private:
    int m_descriptor;
};

/// Plays a dialogue and returns the first difference, or "" when there is none. The steps, one a string:
///   "> TEXT"  we send TEXT and CR          "] TEXT"  we send TEXT and Ctrl-Z
///   "^"       we send ESC                  "} TEXT"  we send TEXT as it is
///   "< TEXT"  the modem says TEXT between line ends; "|" stands for a line end inside
///   "<>"      the modem prompts            "= TEXT"  the modem says exactly TEXT, with \r and \n written so
///   "! LINE"  a control command (given to control)
/// Behind the last step the modem must answer AT, with nothing before the answer.
QString playDialogue(SerialPeer &peer, const QStringList &steps,
                     const std::function<void(const QString &line)> &control);
