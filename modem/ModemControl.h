#pragma once

#include "modem/HandOver.h"
#include "modem/MessageFate.h"
#include "modem/ModemFault.h"
#include "modem/ModemResult.h"
#include "modem/ModemStatus.h"
#include "modem/line/ModemLimits.h"
#include "modem/line/ModemTrace.h"
#include "platform/clock/Clock.h"

#include <QObject>
#include <QString>
#include <QStringList>
#include <functional>
#include <memory>

/// A GSM modem on a serial port that sends and receives SMS (3GPP TS 27.005, 27.007, 23.040, 23.038, PDU
/// mode). All calls block up to the time limits and never run the event loop. Once open() succeeded the port
/// is wanted until close(): a lost device is reopened by send() and by a timer, for ever, and notice() tells
/// both ends once.
class ModemControl final : public QObject
{
    Q_OBJECT
public:
    /// mappedDevice: COM number to device path, "" where there is none; then the convention of serialDevice()
    /// applies. clock must outlive the control.
    ModemControl(const Clock &clock, std::function<QString(int comPort)> mappedDevice,
                 QObject *parent = nullptr, const ModemLimits &limits = {});
    ~ModemControl() override;

    /// Told of each text that goes over. When handOver.before throws Fault, send() throws the same; a part that is not
    /// the first is refused.
    void setHandOver(HandOver handOver);
    /// What the modem told since it was opened of a text that an earlier session had handed over, true when the network
    /// has it; once, and before the next text goes over. expectLateResult() gives it time for that at the next open(),
    /// at the first line speed.
    [[nodiscard]] std::optional<bool> takeLateResult();
    void expectLateResult(bool isExpected);
    /// COM number, kept for the next open().
    void setPortNumber(qint16 comPort);
    /// Line speed in baud, kept for the next open(); 0 searches the usual ones.
    void setSpeed(int baud);
    /// SMS centre number, kept for the next open(); "" leaves the SIM's own.
    void setServiceCentre(const QString &number);
    /// Numbers of this country are delivered in national form: "86" turns +86138... into 138... The digits
    /// without "+"; "" delivers numbers as the network gives them.
    void setSenderCountryCode(const QString &digits);
    /// Until a refused message is raised again for the first time; 10 s unless set.
    void setScanInterval(std::chrono::seconds interval);
    /// Octets of messages that cannot be decoded are appended to this file before the modem's copy goes; ""
    /// leaves them in notice() alone.
    void setUnreadableFile(const QString &path);
    /// Shows every octet that goes over the line; an empty function turns it off.
    void setTrace(ModemTrace trace);
    /// Called about four times a second while a call waits for the modem; must not call back.
    void setWhileWaiting(std::function<void()> whileWaiting);
    /// Called each time that a send() has waited for the modem for ModemLimits::whileSending, from inside that wait:
    /// what else must not fall asleep meanwhile is kept awake there. It must neither call back nor throw.
    void setWhileSending(std::function<void()> whileSending);

    /// True from a successful open() to close(), except while the device is gone.
    [[nodiscard]] bool isPortOpen() const;
    /// Why it is closed although it was opened; "" for no reason.
    [[nodiscard]] QString lostCause() const;
    /// What is known of the modem, empty while the port is closed. Without asking it: that is done once a minute.
    [[nodiscard]] ModemStatus status() const;
    /// The same, asked of it now.
    ModemStatus askStatus();
    /// Opens the port and brings the modem up. 0 = port opened, registered with a network or not; else a
    /// ModemResult, the port is released, and notice() says the cause.
    [[nodiscard]] qint16 open();
    /// Releases the port, forgets what waits in memory; the modem's store keeps what was not handled.
    /// Always 0.
    [[nodiscard]] qint16 close();
    /// Sends text as one SMS, or concatenated when it does not fit one. 0 = every part was accepted with a
    /// message reference, else a ModemResult: the attempt is over and must not be repeated. Blanks around the
    /// number are ignored. Throws ModemFault when it could not try; then nothing of the message was accepted.
    [[nodiscard]] qint16 send(const QString &mobileNumber, const QString &text);
    /// In words and with the modem's error number: why the last send() was not 0. For the log.
    [[nodiscard]] QString lastRefusal() const;
    /// The one message that raised messageArrived(). receiveTime: YYYY-MM-DD HH:MM:SS, local time of the
    /// service centre's stamp. 8-bit data comes as upper-case hexadecimal digits. Non-zero leaves the three
    /// texts as they were.
    [[nodiscard]] qint16 read(QString &sender, QString &text, QString &receiveTime);
    [[nodiscard]] MessageOrigin origin() const;
    /// Called by the handler of messageArrived() before it returns; without it the message waits.
    void settle(MessageFate fate);

    /// Asked at open() of parts of an incomplete message that lay in the store: sender and receiveTime as read()
    /// gives them, and the texts of the parts. True when an earlier run dealt with the whole message; its parts
    /// are then removed.
    using RestTest =
        std::function<bool(const QString &sender, const QString &receiveTime, const QStringList &fragments)>;
    void setRestTest(RestTest isRest);

signals:
    /// One complete message waits for read(). Raised from the event loop only, one message per turn of it.
    void messageArrived();
    /// For the operator's log, in Chinese.
    void notice(const QString &text);

private:
    class Private;
    std::unique_ptr<Private> d;
};
