#include "modem/MessageSender.h"

#include "modem/AnswerFields.h"
#include "modem/AtChannel.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

SendOutcome couldNotTry(ModemFault::Kind kind, const QString &cause)
{
    return {ModemResult::Ok, kind, kind == ModemFault::Kind::PortLost, cause};
}

SendOutcome failed(ModemResult result, const QString &cause)
{
    return {result, std::nullopt, false, cause};
}

SendOutcome modemRefused(const FinalResult &result)
{
    const QString words = QString::fromLatin1(describe(result));
    if (saysNoNetwork(result))
        return couldNotTry(ModemFault::Kind::NoNetwork, u"无网络或 SIM 卡不可用（%1）"_s.arg(words));
    if (result.kind == FinalResult::Kind::Ok)
        return failed(ModemResult::NotConfirmed, u"短信猫未确认发送（无消息编号）"_s);
    return failed(ModemResult::Refused, u"短信猫或网络拒绝（%1）"_s.arg(words));
}

/// "+CMGS: <mr>[,...]": only a number is a message reference.
bool hasMessageReference(const AtAnswer &answer)
{
    return std::any_of(answer.lines.cbegin(), answer.lines.cend(), [](const AtLine &line) {
        return answerFields(line.text).first().number().has_value();
    });
}

} // namespace

SendOutcome MessageSender::send(const QList<SmsSubmit> &parts)
{
    for (qsizetype i = 0; i < parts.size(); ++i) {
        SendOutcome outcome = sendPart(parts[i]);
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

SendOutcome MessageSender::sendPart(const SmsSubmit &part)
{
    const AtAnswer prompt =
        m_channel.exchangeToPrompt("AT+CMGS=" + QByteArray::number(part.tpduOctets()), m_limits.prompt);
    if (prompt.end != AtAnswer::End::Prompt)
        return withoutPrompt(prompt);

    bool handedOver = false;
    const AtAnswer answer =
        m_channel.sendPayload(part.octets.toHex().toUpper(), "+CMGS:", m_limits.sendResult, handedOver);
    if (answer.end == AtAnswer::End::Final) {
        if (answer.isOk() && hasMessageReference(answer))
            return {};
        return modemRefused(answer.result);
    }
    if (!handedOver)
        return withoutPrompt(answer);
    SendOutcome outcome = failed(ModemResult::FateUnknown, u"短信已交给短信猫，但没有得到结果"_s);
    outcome.isModemGone = answer.isLost() || !m_channel.resynchronise(m_limits.resync);
    return outcome;
}

/// The modem cannot have acted on the message: the TPDU did not reach it as a whole.
SendOutcome MessageSender::withoutPrompt(const AtAnswer &answer)
{
    if (answer.end == AtAnswer::End::Final)
        return modemRefused(answer.result);
    if (answer.isLost())
        return couldNotTry(ModemFault::Kind::PortLost, u"短信猫已断开"_s);
    if (!m_channel.resynchronise(m_limits.resync))
        return couldNotTry(ModemFault::Kind::PortLost, u"短信猫没有应答"_s);
    return couldNotTry(ModemFault::Kind::NoAnswer, u"短信猫对这条短信没有应答"_s);
}
