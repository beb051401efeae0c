#include "modem/ModemWatch.h"

#include "modem/BringUp.h"
#include "modem/Registration.h"
#include "modem/SimState.h"
#include "modem/line/AnswerFields.h"
#include "modem/line/AtChannel.h"

using namespace Qt::StringLiterals;

namespace
{

constexpr qsizetype shownDigits = 4;

QString unregistered()
{
    return u"短信猫未注册到网络，暂时不能收发短信"_s;
}

std::optional<int> signalStrength(AtChannel &channel, const ModemLimits &limits)
{
    constexpr int weakest = -113; // dBm, at 0; each step is 2 dB more; 99 is unknown (3GPP TS 27.007, 8.5)
    constexpr int strongestLevel = 31;
    const std::optional<int> level =
        channel.exchange("AT+CSQ", "+CSQ:", limits.command).fields().value(0).number();
    return level && *level <= strongestLevel ? std::optional(weakest + 2 * *level) : std::nullopt;
}

} // namespace

void ModemWatch::noteBroughtUp(const BringUpReport &report)
{
    if (report.result != ModemResult::Ok)
        return;
    m_status.isRegistered = report.isRegistered;
    m_status.workarounds = report.remarks;
    m_status.isSimReady = true;
    m_status.simEnd = QString::fromLatin1(report.iccid.right(shownDigits));
    if (!report.isRegistered) {
        m_trouble = unregistered();
        m_status.troubles = {m_trouble};
    }
}

/// The first line of a question that is answered by lines without a prefix.
QByteArray ModemWatch::ask(const QByteArray &name) const
{
    const AtAnswer answer =
        m_channel.exchange("AT" + name, name + ':', m_limits.command, AtChannel::Expect::Text);
    if (!answer.isOk() || answer.lines.isEmpty())
        return {};
    QByteArray text = answer.lines.first().text;
    if (text.toUpper().startsWith(name + ':'))
        text = text.sliced(name.size() + 1);
    return text.replace('"', "").simplified();
}

/// What is wrong, the cause before its consequences.
QString ModemWatch::askTrouble(ModemStatus &status)
{
    const SimState sim = simState(m_channel.exchange("AT+CPIN?", "+CPIN:", m_limits.command));
    status.isSimReady = sim.result == ModemResult::Ok;
    status.isRegistered = isRegistered(m_channel, m_limits).value_or(true);
    status.signalDbm = signalStrength(m_channel, m_limits);
    const AtAnswer network = m_channel.exchange("AT+COPS?", "+COPS:", m_limits.command);
    status.network = QString::fromUtf8(network.fields().value(2).text).left(40);
    if (!status.isSimReady)
        return sim.cause;
    if (status.isRegistered)
        return {};
    return status.signalDbm ? unregistered() : u"短信猫没有信号，未注册到网络，暂时不能收发短信"_s;
}

QString ModemWatch::look()
{
    if (m_status.model.isEmpty()) {
        QStringList words{QString::fromLatin1(ask("+CGMI")), QString::fromLatin1(ask("+CGMM"))};
        words.removeDuplicates();
        m_status.model = words.join(u' ').trimmed();
        m_status.imeiEnd = QString::fromLatin1(ask("+CGSN").right(shownDigits));
    }
    ModemStatus status = m_status;
    const QString trouble = askTrouble(status);
    if (!m_channel.isSynchronised()) // nothing was learnt but that it is slow
        return {};
    m_status = status;
    const QString before = std::exchange(m_trouble, trouble);
    m_status.troubles = trouble.isEmpty() ? QStringList() : QStringList{trouble};
    if (trouble == before)
        return {};
    return trouble.isEmpty() ? u"短信猫已恢复正常，可以收发短信"_s : trouble;
}
