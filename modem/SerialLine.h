#pragma once

#include "modem/ModemTrace.h"

#include <QDeadlineTimer>
#include <QObject>
#include <QSerialPort>
#include <QString>
#include <functional>

/// The serial port as octets with blocking waits that end at a deadline. Knows nothing of AT commands.
class SerialLine final : public QObject
{
    Q_OBJECT
public:
    enum class OpenResult { Opened, NoSuchDevice, Busy, Denied, Failed };
    enum class Wait { Ready, TimedOut, Lost };

    explicit SerialLine(QObject *parent = nullptr);

    /// 8N1, no flow control, for this process alone. A symbolic link is followed at each open.
    [[nodiscard]] OpenResult open(const QString &device, int baud = 115200);
    /// Of the open line.
    void setBaud(int baud) { m_port.setBaudRate(baud); }
    void close();
    [[nodiscard]] bool isOpen() const { return m_port.isOpen(); }
    /// The system's words for the last failure.
    [[nodiscard]] QString errorText() const { return m_port.errorString(); }

    /// Ready: every octet was handed to the device. Otherwise what was not handed over is dropped.
    [[nodiscard]] Wait write(QByteArrayView octets, const QDeadlineTimer &deadline);
    /// Ready: readAll() has something. A lost device closes the line.
    [[nodiscard]] Wait waitForOctets(const QDeadlineTimer &deadline);
    [[nodiscard]] QByteArray readAll();

    /// Called about four times a second while a wait lasts.
    void setWhileWaiting(std::function<void()> whileWaiting) { m_whileWaiting = std::move(whileWaiting); }
    void setTrace(ModemTrace trace) { m_trace = std::move(trace); }

signals:
    /// Also emitted inside the waits.
    void octetsArrived();
    /// The device vanished and the line was closed. Emitted from the event loop only; the waits return Lost.
    void lost();

private:
    void noteError(QSerialPort::SerialPortError error);
    Wait endWait();

    QSerialPort m_port;
    ModemTrace m_trace;
    std::function<void()> m_whileWaiting;
    bool m_waiting = false;
    bool m_lost = false;
};
