#pragma once

#include "modem/line/ModemTrace.h"

#include <QByteArray>
#include <QDeadlineTimer>
#include <QObject>
#include <QString>
#include <functional>
#include <memory>

/// A serial line as octets with blocking waits that end at a deadline. Knows nothing of AT commands.
///
/// The one seam between the modem control and the device: nothing else in modem/ waits, and time is read from
/// QDeadlineTimer, QElapsedTimer and the clock alone. modem_serialport holds the line on a real port. Another
/// takes its place where a program defines makeSerialLine() in a source file of its own (or an OBJECT
/// library): the linker then takes nothing out of modem_serialport. It implements what is pure here and keeps
/// what the comments promise, and besides
/// - calls trace() with the octets of each write() before they go and of each readAll() that has some;
/// - calls whileWaiting() about four times a second of a wait in waitForOctets(), never in write();
/// - emits octetsArrived() when there is something to read, from the event loop or inside a wait;
/// - emits lost() from the event loop when the device goes while no call waits, already closed.
class SerialLine : public QObject
{
    Q_OBJECT
public:
    enum class OpenResult { Opened, NoSuchDevice, Busy, Denied, Failed };
    enum class Wait { Ready, TimedOut, Lost };

    using QObject::QObject;

    /// 8N1, no flow control, for this process alone. A symbolic link is followed at each open. What is open is
    /// closed first, and what an earlier opening left unread is gone.
    [[nodiscard]] virtual OpenResult open(const QString &device, int baud) = 0;
    /// Of the open line.
    virtual void setBaud(int baud) = 0;
    /// No signal comes of it. Nothing happens while closed.
    virtual void close() = 0;
    [[nodiscard]] virtual bool isOpen() const = 0;
    /// The system's words for the last failure.
    [[nodiscard]] virtual QString errorText() const = 0;

    /// Ready: every octet was handed to the device. Otherwise what was not handed over is dropped. Lost also
    /// when closed; a lost device closes the line.
    [[nodiscard]] virtual Wait write(QByteArrayView octets, const QDeadlineTimer &deadline) = 0;
    /// Ready: readAll() has something, perhaps at once. Looks at the device even when the deadline is over. What
    /// came together with a hang-up is still Ready. Lost also when closed; a lost device closes the line.
    [[nodiscard]] virtual Wait waitForOctets(const QDeadlineTimer &deadline) = 0;
    /// "" when there is nothing, or the line is closed.
    [[nodiscard]] virtual QByteArray readAll() = 0;

    /// Called about four times a second while a wait lasts.
    void setWhileWaiting(std::function<void()> whileWaiting) { m_whileWaiting = std::move(whileWaiting); }
    void setTrace(ModemTrace trace) { m_trace = std::move(trace); }

signals:
    /// Also emitted inside the waits.
    void octetsArrived();
    /// The device vanished and the line was closed. Emitted from the event loop only; the waits return Lost.
    void lost();

protected:
    void trace(TraceDirection direction, QByteArrayView octets) const
    {
        if (m_trace)
            m_trace(direction, octets);
    }
    void whileWaiting() const
    {
        if (m_whileWaiting)
            m_whileWaiting();
    }

private:
    ModemTrace m_trace;
    std::function<void()> m_whileWaiting;
};

/// A closed line of the kind that the program is linked with.
[[nodiscard]] std::unique_ptr<SerialLine> makeSerialLine();
