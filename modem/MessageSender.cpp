#include "modem/MessageSender.h"

#include "modem/Registration.h"
#include "modem/line/AtChannel.h"

using namespace Qt::StringLiterals;

namespace
{

SendOutcome couldNotTry(ModemFault::Kind kind, const QString &cause)
{
    return {.fault = kind, .isModemGone = kind == ModemFault::Kind::PortLost, .cause = cause};
}

SendOutcome failed(ModemResult result, const QString &cause)
{
    return {.result = result, .fault = {}, .cause = cause};
}

bool mayTryAgain(const SendOutcome &outcome)
{
    return outcome.fault == ModemFault::Kind::NotTaken || outcome.fault == ModemFault::Kind::NotPrompted;
}

QString wordsOf(const AtAnswer &answer)
{
    return answer.end == AtAnswer::End::Final ? QString::fromLatin1(describe(answer.result)) : QString();
}

} // namespace

SendOutcome MessageSender::send(const QList<SmsSubmit> &parts)
{
    for (qsizetype i = 0; i < parts.size(); ++i) {
        m_part = {int(i) + 1, int(parts.size())};
        SendOutcome outcome = i == 0 ? sendPart(parts[i]) : sendFurtherPart(parts[i]);
        if (outcome.result == ModemResult::Ok && !outcome.fault)
            continue;
        // What was accepted cannot be taken back, and trying again would send it twice: never a fault now.
        if (i > 0) {
            outcome.fault.reset();
            outcome.result = ModemResult::PartlySent;
            outcome.cause =
                u"第 %1 条（共 %2 条）未发出：%3"_s.arg(i + 1).arg(parts.size()).arg(outcome.cause);
        }
        return outcome;
    }
    return {};
}

/// The row cannot wait for a later pass any more: its first parts are out.
SendOutcome MessageSender::sendFurtherPart(const SmsSubmit &part)
try {
    constexpr int mostTries = 3;
    SendOutcome outcome = sendPart(part);
    for (int tries = 1; tries < mostTries && mayTryAgain(outcome); ++tries)
        outcome = sendPart(part);
    return outcome;
} catch (const Fault &fault) {
    return failed(ModemResult::PartlySent, fault.message());
}

MessageSender::Attempt MessageSender::tryPart(const SmsSubmit &part, bool isSecond)
{
    const QDeadlineTimer usual(m_limits.slowPrompt);
    m_isHandedOver = false;
    AtAnswer answer = m_channel.exchange("AT+CMGS=" + QByteArray::number(part.tpduOctets()), {},
                                         m_limits.prompt, AtChannel::Expect::Prompt);
    const bool isPrompted = answer.end == AtAnswer::End::Prompt && !answer.isEchoUnexpected;
    // In text mode the TPDU would go out as it is written, and nothing would tell.
    if (isPrompted && usual.hasExpired() && !isSecond)
        return {SendVerdict::NotPrompted, {}};
    if (isPrompted)
        answer = handOver(part);
    return {judgeSend(answer), wordsOf(answer)};
}

AtAnswer MessageSender::handOver(const SmsSubmit &part)
{
    try {
        m_handOver.before(m_part);
    } catch (const Fault &) {
        static_cast<void>(m_channel.resynchronise(m_limits.resync)); // out of the prompt
        throw;
    }
    m_isHandedOver = true;
    return m_channel.sendPayload(part.octets.toHex().toUpper(), m_limits.sendResult);
}

void MessageSender::tellEnd(SendVerdict verdict)
{
    if (m_isHandedOver && verdict != SendVerdict::FateUnknown)
        m_handOver.after(m_part, verdict == SendVerdict::Accepted);
}

/// In PDU mode, which a modem that started anew has left.
bool MessageSender::findModemAgain()
{
    return m_channel.resynchronise(m_limits.resync) &&
           m_channel.exchange("AT+CMGF=0", {}, m_limits.command).isOk();
}

SendOutcome MessageSender::sendPart(const SmsSubmit &part)
{
    Attempt attempt = tryPart(part);
    // Nothing was handed over: whatever was said may have been meant for an earlier command.
    if (attempt.verdict == SendVerdict::NotPrompted && findModemAgain())
        attempt = tryPart(part, true);
    tellEnd(attempt.verdict);
    const QString &words = attempt.cause;
    switch (attempt.verdict) {
    case SendVerdict::Accepted:
        return {};
    case SendVerdict::Refused:
        return failed(ModemResult::Refused, u"短信猫或网络拒绝（%1）"_s.arg(words));
    case SendVerdict::NotConfirmed:
        return failed(ModemResult::NotConfirmed, u"短信猫未确认发送（无消息编号），可能已发出"_s);
    case SendVerdict::NotTaken:
        return waits(ModemFault::Kind::NotTaken, u"网络未接收短信（%1）"_s.arg(words));
    case SendVerdict::NoNetwork:
        return couldNotTry(ModemFault::Kind::NoNetwork, u"无网络或 SIM 卡不可用（%1）"_s.arg(words));
    case SendVerdict::NotPrompted:
        return waits(ModemFault::Kind::NotPrompted, u"短信猫未接受发送命令（%1）"_s.arg(words));
    case SendVerdict::NoPrompt:
        return waits(ModemFault::Kind::NoAnswer, u"短信猫对这条短信没有应答"_s);
    case SendVerdict::SettingsLost: {
        // ESC, so that nothing is taken for the text that the prompt waits for.
        SendOutcome outcome = waits(ModemFault::Kind::NotPrompted, u"短信猫已重新启动"_s);
        outcome.isSettingsLost = !outcome.isModemGone;
        return outcome;
    }
    case SendVerdict::FateUnknown: {
        SendOutcome outcome =
            failed(ModemResult::FateUnknown, u"短信已交给短信猫，但没有得到结果，可能已发出"_s);
        outcome.isModemGone = !m_channel.resynchronise(m_limits.resync);
        outcome.isSettingsLost = !outcome.isModemGone;
        return outcome;
    }
    case SendVerdict::PortLost:
        return couldNotTry(ModemFault::Kind::PortLost, u"短信猫已断开"_s);
    }
    Q_UNREACHABLE();
}

/// The message may be tried again: now it is asked whether anything can be sent at all.
SendOutcome MessageSender::waits(ModemFault::Kind kind, const QString &cause)
{
    if (kind != ModemFault::Kind::NotTaken && !m_channel.resynchronise(m_limits.resync))
        return couldNotTry(ModemFault::Kind::PortLost, u"短信猫没有应答"_s);
    if (isRegistered(m_channel, m_limits).value_or(true))
        return couldNotTry(kind, cause);
    if (!m_channel.isSynchronised() && !m_channel.resynchronise(m_limits.resync))
        return couldNotTry(ModemFault::Kind::PortLost, u"短信猫没有应答"_s);
    return couldNotTry(ModemFault::Kind::NoNetwork, u"未注册到网络，%1"_s.arg(cause));
}
