#include "modem/ModemLink.h"

using namespace Qt::StringLiterals;

ModemLink::ModemLink(const ModemLimits &limits, QObject *parent)
    : QObject(parent), channel(line, limits), store(channel, limits), m_limits(limits)
{
    connect(&line, &SerialLine::lost, this, &ModemLink::lost);
}

BringUpReport ModemLink::open(const QString &device, const QString &serviceCentre,
                              std::chrono::milliseconds syncLimit)
{
    close();
    m_serviceCentre = serviceCentre;
    const auto failed = [](ModemResult result, const QString &cause) {
        return BringUpReport{result, false, cause};
    };
    switch (line.open(device)) {
    case SerialLine::OpenResult::Opened:
        break;
    case SerialLine::OpenResult::NoSuchDevice:
        return failed(ModemResult::NoSuchPort, u"端口 %1 不存在"_s.arg(device));
    case SerialLine::OpenResult::Busy:
        return failed(ModemResult::PortBusy, u"端口 %1 被其他程序占用"_s.arg(device));
    case SerialLine::OpenResult::Denied:
        return failed(ModemResult::PortDenied, u"没有权限打开端口 %1"_s.arg(device));
    case SerialLine::OpenResult::Failed:
        return failed(ModemResult::PortFailed, u"端口 %1 打不开：%2"_s.arg(device, line.errorText()));
    }
    BringUpReport report = bringUp(channel, store, m_limits, serviceCentre, syncLimit);
    if (report.result != ModemResult::Ok) {
        report.cause = u"端口 %1，%2"_s.arg(device, report.cause);
        close();
    }
    return report;
}

BringUpReport ModemLink::bringUpAgain()
{
    return bringUp(channel, store, m_limits, m_serviceCentre, m_limits.resync);
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

void ModemLink::close()
{
    line.close();
    channel.reset();
}

bool ModemLink::answers()
{
    return line.isOpen() && (channel.isSynchronised() || channel.resynchronise(m_limits.resync));
}
