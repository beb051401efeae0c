#pragma once

#include <QObject>
#include <QString>

namespace simulator
{
/// The modem's end of a wire, as raw octets that nobody paces, counts or cuts off: that is SerialLine's.
///
/// The one seam between the simulator and the outside world on its line. A PseudoTerminal is one; another is
/// handed to the Modem in its place and promises what the comments say.
class LineEnd : public QObject
{
    Q_OBJECT

public:
    /// Programs can open the other end from now on. Throws std::runtime_error with a readable text when that is
    /// impossible.
    virtual void plug() = 0;
    /// Hangs up: the program at the other end gets an error, and what it has not read is gone.
    virtual void unplug() = 0;
    [[nodiscard]] virtual bool isPlugged() const = 0;
    /// Octets to the program; returns how many were taken. writable() comes when the rest may be tried.
    [[nodiscard]] virtual qsizetype write(const QByteArray &octets) = 0;
    /// Whether the program's end is set to that speed (bits per second).
    [[nodiscard]] virtual bool isPeerAt(int speed) const = 0;
    /// Where programs find the other end, for people.
    [[nodiscard]] virtual QString name() const = 0;

signals:
    void received(const QByteArray &octets);
    void writable();
    /// A program opened or closed the other end, and whether one has it open now. What a program left unread is
    /// gone when the last one has closed.
    void peersChanged(bool isOpen);
};
} // namespace simulator
