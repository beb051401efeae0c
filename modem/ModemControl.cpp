#include "modem/ModemControl.h"

#include "modem/MessageSender.h"
#include "modem/ModemLink.h"
#include "modem/Receiver.h"
#include "modem/line/SerialDevice.h"
#include "modem/tpdu/SmsAddress.h"
#include "modem/tpdu/SmsSubmit.h"

#include <QElapsedTimer>
#include <QScopeGuard>
#include <QSet>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace
{

qint16 code(ModemResult result)
{
    return static_cast<qint16>(result);
}

QString textOf(const QDateTime &time)
{
    return time.toString(u"yyyy-MM-dd HH:mm:ss"_s);
}

} // namespace

class ModemControl::Private
{
public:
    Private(ModemControl &control, const Clock &clock, std::function<QString(int)> mappedDevice,
            const ModemLimits &timeLimits)
        : q(control),
          limits(timeLimits),
          deviceOf(std::move(mappedDevice)),
          link(timeLimits),
          receiver(clock, link, timeLimits),
          reference(static_cast<quint8>(clock.now().toMSecsSinceEpoch()))
    {
        reopenTimer.setInterval(limits.reopen);
        lookTimer.setInterval(limits.look);
        link.line.setWhileWaiting([this] { giveSigns(); });
    }

    BringUpReport connectDevice(std::chrono::milliseconds syncLimit, bool isAgain);
    bool reopen();
    bool bringUpAgain();
    void noteBroughtUp(const BringUpReport &report);
    void noteLost();
    void disconnectDevice();
    void makeReady();
    void look();
    void giveSigns();

    ModemControl &q;
    ModemLimits limits;
    std::function<QString(int)> deviceOf;
    ModemLink link;
    Receiver receiver;
    QTimer reopenTimer;
    QTimer lookTimer; ///< running while the port is open

    qint16 portNumber = 0;
    QSet<QString> remarksTold;
    QString serviceCentre;
    QString countryCode;
    bool isWanted = false; ///< the operator opened, and has not closed
    bool isLost = false;   ///< it is open, but the modem is gone
    QString lostCause;     ///< why the last attempt to open it failed
    QString refusal;
    /// Of the next concatenated message; begins anywhere, so that after a restart a text is not taken for the rest of another.
    quint8 reference;
    HandOver handOver;
    std::function<void()> whileWaiting;
    std::function<void()> whileSending;
    QElapsedTimer sendWaits; ///< since its begin or its last sign; invalid outside send()
};

/// What the operator should know of a modem that does not take everything is said once.
void ModemControl::Private::noteBroughtUp(const BringUpReport &report)
{
    link.watch.noteBroughtUp(report);
    for (const QString &remark : report.remarks) {
        if (!remarksTold.contains(remark) && remark.contains(u"短信中心"_s))
            emit q.notice(remark);
        remarksTold.insert(remark);
    }
}

BringUpReport ModemControl::Private::connectDevice(std::chrono::milliseconds syncLimit, bool isAgain)
{
    QString device = deviceOf ? deviceOf(portNumber) : QString();
    if (device.isEmpty())
        device = serialDevice(portNumber);
    if (device.isEmpty())
        return {.result = ModemResult::NoSuchPort, .cause = u"端口 COM%1 不存在"_s.arg(portNumber)};
    BringUpReport report = link.open(device, serviceCentre, syncLimit, isAgain);
    noteBroughtUp(report);
    return report;
}

/// The modem is gone although it is wanted. The operator is told once.
void ModemControl::Private::noteLost()
{
    link.close();
    lookTimer.stop();
    receiver.pause();
    if (!isWanted || isLost)
        return;
    isLost = true;
    lostCause = u"短信猫已断开或没有应答"_s;
    reopenTimer.start();
    emit q.notice(lostCause + u"，将自动重新连接"_s);
}

bool ModemControl::Private::reopen()
{
    const BringUpReport report = connectDevice(limits.reopenSync, true);
    if (report.result != ModemResult::Ok) {
        // A cause that only a person can remove is worth a line, once.
        const bool isNews = report.cause != lostCause && report.result != ModemResult::NoSuchPort &&
                            report.result != ModemResult::ModemSilent &&
                            report.result != ModemResult::PortFailed;
        lostCause = report.cause;
        if (isNews)
            emit q.notice(u"短信猫重新连接失败：%1"_s.arg(report.cause));
        return false;
    }
    isLost = false;
    lostCause.clear();
    reopenTimer.stop();
    lookTimer.start();
    receiver.start();
    emit q.notice(report.isRegistered ? u"短信猫已重新连接"_s : u"短信猫已重新连接，但未注册到网络"_s);
    return true;
}

/// False when the modem is gone.
bool ModemControl::Private::bringUpAgain()
{
    const BringUpReport report = link.bringUpAgain();
    noteBroughtUp(report);
    if (report.result == ModemResult::Ok)
        receiver.start();
    else
        noteLost();
    return link.isOpen();
}

/// What is wrong is told also while nothing is sent or received.
void ModemControl::Private::look()
{
    lookTimer.start();
    if (const QString news = link.watch.look(); !news.isEmpty())
        emit q.notice(news);
    if (!link.answers())
        noteLost();
}

/// From inside every wait.
void ModemControl::Private::giveSigns()
{
    if (whileWaiting)
        whileWaiting();
    if (!whileSending || !sendWaits.isValid() || !sendWaits.hasExpired(limits.whileSending.count()))
        return;
    sendWaits.start();
    whileSending();
}

void ModemControl::Private::disconnectDevice()
{
    lookTimer.stop();
    link.watch.forget();
    isWanted = false;
    isLost = false;
    reopenTimer.stop();
    receiver.stop();
    link.close();
}

/// Throws when nothing can be sent now.
void ModemControl::Private::makeReady()
{
    if (!isWanted)
        throw ModemFault(ModemFault::Kind::PortLost, u"短信猫端口未打开"_s);
    if (link.isOpen() && receiver.takeNews())
        bringUpAgain();
    if (link.answers() && (link.assertPduModeForPass() || bringUpAgain()))
        return;
    noteLost();
    if (!reopen())
        throw ModemFault(ModemFault::Kind::PortLost, lostCause);
}

ModemControl::ModemControl(const Clock &clock, std::function<QString(int)> mappedDevice, QObject *parent,
                           const ModemLimits &limits)
    : QObject(parent), d(std::make_unique<Private>(*this, clock, std::move(mappedDevice), limits))
{
    connect(&d->link, &ModemLink::lost, this, [this] { d->noteLost(); });
    connect(&d->reopenTimer, &QTimer::timeout, this, [this] { static_cast<void>(d->reopen()); });
    connect(&d->lookTimer, &QTimer::timeout, this, [this] { d->look(); });
    connect(&d->receiver, &Receiver::messageReady, this, &ModemControl::messageArrived);
    connect(&d->receiver, &Receiver::notice, this, &ModemControl::notice);
    connect(&d->receiver, &Receiver::modemLost, this, [this] { d->noteLost(); });
    connect(&d->receiver, &Receiver::modemRestarted, this, [this] { d->bringUpAgain(); });
}

ModemControl::~ModemControl() = default;

void ModemControl::setHandOver(HandOver handOver)
{
    d->handOver = std::move(handOver);
}

std::optional<bool> ModemControl::takeLateResult()
{
    return d->link.channel.takeLateResult();
}

void ModemControl::expectLateResult(bool isExpected)
{
    d->link.expectLateResult(isExpected);
}

void ModemControl::setPortNumber(qint16 comPort)
{
    d->portNumber = comPort;
}

void ModemControl::setSpeed(int baud)
{
    d->link.setSpeed(baud);
}

void ModemControl::setServiceCentre(const QString &number)
{
    d->serviceCentre = number.trimmed();
}

void ModemControl::setSenderCountryCode(const QString &digits)
{
    const QString trimmed = digits.trimmed();
    d->countryCode = trimmed.startsWith(u'+') ? trimmed.sliced(1) : trimmed;
}

void ModemControl::setScanInterval(std::chrono::seconds interval)
{
    d->receiver.setRefusedFirst(interval);
}

void ModemControl::setUnreadableFile(const QString &path)
{
    d->receiver.setUnreadableFile(path);
}

void ModemControl::setTrace(ModemTrace trace)
{
    d->link.line.setTrace(std::move(trace));
}

void ModemControl::setWhileWaiting(std::function<void()> whileWaiting)
{
    d->whileWaiting = std::move(whileWaiting);
}

void ModemControl::setWhileSending(std::function<void()> whileSending)
{
    d->whileSending = std::move(whileSending);
}

bool ModemControl::isPortOpen() const
{
    return d->isWanted && d->link.isOpen();
}

QString ModemControl::lostCause() const
{
    return d->lostCause;
}

ModemStatus ModemControl::status() const
{
    if (!isPortOpen())
        return {};
    ModemStatus status = d->link.watch.status();
    status.memories = d->receiver.memories();
    status.baud = d->link.baud();
    return status;
}

ModemStatus ModemControl::askStatus()
{
    if (isPortOpen()) {
        d->look();
        d->receiver.askLevel();
    }
    return status();
}

qint16 ModemControl::open()
{
    d->disconnectDevice();
    const bool isCentreValid = d->serviceCentre.isEmpty() || isDialable(d->serviceCentre);
    const BringUpReport report =
        isCentreValid ? d->connectDevice(d->limits.sync, false)
                      : BringUpReport{.result = ModemResult::ServiceCentreInvalid,
                                      .cause = u"短信中心号码 %1 无效"_s.arg(d->serviceCentre)};
    d->lostCause = report.cause;
    if (report.result != ModemResult::Ok) {
        emit notice(u"短信猫打开失败：%1"_s.arg(report.cause));
        return code(report.result);
    }
    d->isWanted = true;
    d->lookTimer.start();
    d->receiver.start();
    if (!report.isRegistered)
        emit notice(u"短信猫未注册到网络，暂时不能收发短信"_s);
    return code(ModemResult::Ok);
}

qint16 ModemControl::close()
{
    d->disconnectDevice();
    return code(ModemResult::Ok);
}

qint16 ModemControl::send(const QString &mobileNumber, const QString &text)
{
    const QString number = mobileNumber.trimmed();
    if (!isDialable(number)) {
        d->refusal = u"手机号码无效"_s;
        return code(ModemResult::NumberInvalid);
    }
    const QList<SmsSubmit> parts = encodeSubmits(number, text, d->reference++);
    if (parts.isEmpty()) {
        d->refusal = u"短信内容过长"_s;
        return code(ModemResult::TextTooLong);
    }
    d->sendWaits.start();
    const auto ended = qScopeGuard([this] {
        d->sendWaits.invalidate();
        d->link.noteSent();
    });
    d->makeReady();
    MessageSender sender(d->link.channel, d->limits, d->handOver);
    SendOutcome outcome = sender.send(parts);
    if (outcome.isSettingsLost && d->bringUpAgain() && outcome.fault)
        outcome = sender.send(parts);
    if (outcome.isModemGone)
        d->noteLost();
    if (outcome.fault)
        throw ModemFault(*outcome.fault, outcome.cause);
    d->refusal = outcome.cause;
    return code(outcome.result);
}

QString ModemControl::lastRefusal() const
{
    return d->refusal;
}

qint16 ModemControl::read(QString &sender, QString &text, QString &receiveTime)
{
    const InboxMessage *message = d->receiver.current();
    if (message == nullptr)
        return code(ModemResult::NoMessage);
    d->receiver.noteRead();
    if (!message->problem.isEmpty())
        return code(ModemResult::MessageUnreadable);
    sender = displayWithin(message->sender, d->countryCode);
    text = message->text;
    receiveTime = textOf(message->time);
    return code(ModemResult::Ok);
}

void ModemControl::setRestTest(RestTest isRest)
{
    d->receiver.setRestTest([this, isRest = std::move(isRest)](const InboxMessage &parts) {
        return isRest &&
               isRest(displayWithin(parts.sender, d->countryCode), textOf(parts.time), parts.fragments);
    });
}

MessageOrigin ModemControl::origin() const
{
    const InboxMessage *message = d->receiver.current();
    if (message == nullptr)
        return {};
    return {message->isLeftOver, message->fragments, d->receiver.mustLeave()};
}

void ModemControl::settle(MessageFate fate)
{
    d->receiver.settle(fate);
}
