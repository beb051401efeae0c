#include "modem/ModemLink.h"

#include <utility>

using namespace Qt::StringLiterals;

ModemLink::ModemLink(const ModemLimits &limits, QObject *parent)
    : QObject(parent),
      m_line(makeSerialLine()),
      line(*m_line),
      channel(line, limits),
      store(channel, limits),
      watch(channel, limits),
      m_limits(limits)
{
    connect(&line, &SerialLine::lost, this, &ModemLink::lost);
    m_passEnds.setInterval(std::chrono::seconds(1)); // one row follows another within a pass
    m_passEnds.setSingleShot(true);
    connect(&m_passEnds, &QTimer::timeout, this, [this] { m_isAsserted = false; });
}

/// The line speeds at which the modem is looked for, the likeliest first.
QList<int> ModemLink::bauds(const QString &device, bool isAgain)
{
    const QList<int> all =
        m_speed > 0 ? QList<int>{m_speed} : QList<int>{115200, 9600, 19200, 38400, 57600, 460800};
    const int known = isAgain && all.contains(m_baud) ? m_baud : all.first();
    const int other = isAgain ? all[m_reopenings++ % all.size()] : known;
    if (device.startsWith(u"tcp:"_s)) // whose server sets the speed
        return {known};
    if (!isAgain)
        return all;
    return other == known ? QList<int>{known} : QList<int>{known, other}; // the modem may have been replaced
}

BringUpReport ModemLink::open(const QString &device, const QString &serviceCentre,
                              std::chrono::milliseconds syncLimit, bool isAgain)
{
    close();
    const QList<int> speeds = bauds(device, isAgain);
    m_serviceCentre = serviceCentre;
    const auto failed = [](ModemResult result, const QString &cause) {
        return BringUpReport{.result = result, .cause = cause};
    };
    switch (line.open(device, speeds.first())) {
    case SerialLine::OpenResult::Opened:
        break;
    case SerialLine::OpenResult::NoSuchDevice:
        return failed(ModemResult::NoSuchPort, u"端口 %1 不存在"_s.arg(device));
    case SerialLine::OpenResult::Busy:
        return failed(ModemResult::PortBusy, u"端口 %1 被其他程序占用（%2）"_s.arg(device, line.errorText()));
    case SerialLine::OpenResult::Denied:
        return failed(ModemResult::PortDenied, u"没有权限打开端口 %1"_s.arg(device));
    case SerialLine::OpenResult::Failed:
        return failed(ModemResult::PortFailed, u"端口 %1 打不开：%2"_s.arg(device, line.errorText()));
    }
    BringUpReport report = findAndBringUp(speeds, syncLimit);
    note(report);
    if (report.result != ModemResult::Ok) {
        report.cause = u"端口 %1，%2"_s.arg(device, report.cause);
        close();
    }
    return report;
}

/// The likeliest speed gets two turns and whatever time is left at the end, for modems that wake up slowly.
BringUpReport ModemLink::findAndBringUp(const QList<int> &bauds, std::chrono::milliseconds syncLimit)
{
    const std::chrono::milliseconds busy =
        std::exchange(m_isResultExpected, false) ? m_limits.lateResult : std::chrono::milliseconds(0);
    const QDeadlineTimer deadline(syncLimit + busy);
    const std::chrono::milliseconds turn = 2 * m_limits.syncAttempt + m_limits.quiet;
    BringUpReport report;
    for (qsizetype i = 0; i <= bauds.size(); ++i) {
        const bool isOnly = bauds.size() == 1;
        const std::chrono::milliseconds left(deadline.remainingTime());
        if (i > 0 && (isOnly || left <= std::chrono::milliseconds(0)))
            break;
        const int baud = bauds[i % bauds.size()];
        line.setBaud(baud);
        channel.reset();
        const bool takesAll = isOnly || i == bauds.size();
        report = bringUp(channel, store, m_limits, m_serviceCentre,
                         takesAll ? left : std::min(left, i == 0 ? 2 * turn + busy : turn));
        m_baud = report.result == ModemResult::Ok ? baud : m_baud;
        if (report.result != ModemResult::ModemSilent)
            break;
    }
    return report;
}

BringUpReport ModemLink::bringUpAgain()
{
    BringUpReport report = bringUp(channel, store, m_limits, m_serviceCentre, m_limits.resync);
    note(report);
    return report;
}

void ModemLink::note(const BringUpReport &report)
{
    m_notificationCommand = report.notificationCommand;
    m_iccid = report.iccid;
    m_wantsAcknowledge.reset();
}

bool ModemLink::assertPduMode()
{
    const auto ask = [this] { return channel.exchange("AT+CMGF=0", {}, m_limits.command); };
    const AtAnswer answer = ask();
    if (answer.isOk() || answer.isLost())
        return answer.isOk() && !answer.isEchoUnexpected;
    // It may have been the late answer of another command.
    return channel.resynchronise(m_limits.resync) && ask().isOk();
}

bool ModemLink::assertPduModeForPass()
{
    const bool isFoundAgain = channel.takeFoundAgain();
    if (m_isAsserted && !isFoundAgain && m_sinceAsserted.elapsed() < m_limits.storePoll.count())
        return true;
    m_isAsserted = true;
    m_sinceAsserted.start();
    return assertPduMode();
}

bool ModemLink::assertSettings()
{
    if (!assertPduMode())
        return false;
    if (!m_notificationCommand.isEmpty())
        static_cast<void>(channel.exchange(m_notificationCommand, {}, m_limits.command));
    return true;
}

bool ModemLink::wantsAcknowledge()
{
    if (!m_wantsAcknowledge) {
        const AtAnswer answer = channel.exchange("AT+CSMS?", "+CSMS:", m_limits.command);
        m_wantsAcknowledge = answer.isOk() && answer.fields().value(0).number() == 1;
    }
    return *m_wantsAcknowledge;
}

void ModemLink::acknowledge()
{
    if (wantsAcknowledge())
        static_cast<void>(channel.exchange("AT+CNMA", {}, m_limits.command));
}

void ModemLink::close()
{
    line.close();
    channel.reset();
}

bool ModemLink::answers()
{
    return line.isOpen() && (channel.isSynchronised() || channel.resynchronise(m_limits.resync));
}
