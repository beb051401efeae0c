#include "simulator/network/SubmitService.h"

#include "simulator/dialogue/ResultCodes.h"

using namespace Qt::StringLiterals;

namespace simulator
{
namespace
{
QString title(const Tpdu &tpdu)
{
    const QString part = tpdu.concatenation
                             ? u" (part %1 of %2, reference %3)"_s.arg(tpdu.concatenation->sequence)
                                   .arg(tpdu.concatenation->total)
                                   .arg(tpdu.concatenation->reference)
                             : QString();
    return u"to %1%2: %3"_s.arg(tpdu.number, part, tpdu.text);
}
} // namespace

Reply SubmitService::submit(const QByteArray &pdu)
{
    SubmitRecord record{.pdu = pdu, .tpdu = {}, .refused = {}};
    const std::variant<Tpdu, TpduError> decoded = decodeTpdu(pdu, Direction::FromModem);
    if (const auto *error = std::get_if<TpduError>(&decoded))
        return refuse(record, cms::invalidPduParameter, error->reason);
    record.tpdu = std::get<Tpdu>(decoded);
    if (!m_state.isRegistered())
        return refuse(record, m_state.noNetworkCode, u"no network"_s);

    const SendFate fate = m_state.sendScript.take(record.tpdu.number);
    Reply reply;
    if (fate.kind == SendFate::Kind::Refuse) {
        reply = refuse(record, fate.code, u"as planned"_s);
    } else if (fate.kind == SendFate::Kind::BareOk) {
        reply = refuse(record, 0, u"a bare OK"_s);
        reply.final = Reply::Final::Ok;
    } else {
        m_lastReference = (m_lastReference + 1) % 256;
        ++m_accepted;
        m_listener(record);
        m_state.say((m_state.isTextMode() ? u"sent in text mode "_s : u"sent "_s) + title(record.tpdu));
        reply = Reply::ok({"+CMGS: " + QByteArray::number(m_lastReference)});
    }
    reply.delay = m_state.networkLatency;
    reply.unsolicitedBefore = std::exchange(m_state.unsolicitedInNextSend, {});
    if (fate.kind == SendFate::Kind::Late || fate.kind == SendFate::Kind::Slow) {
        reply.delay += fate.duration;
        reply.interruptible = fate.kind == SendFate::Kind::Late;
    } else if (fate.kind == SendFate::Kind::Mute) {
        reply = {.lines = {},
                 .final = Reply::Final::Nothing,
                 .interruptible = true,
                 .deafFor = fate.duration,
                 .unsolicitedBefore = reply.unsolicitedBefore};
        m_state.say(u"no answer to that send"_s);
    }
    return reply;
}

Reply SubmitService::refuse(SubmitRecord record, int code, const QString &reason)
{
    ++m_refused;
    record.refused = code;
    m_listener(record);
    m_state.say(u"refused with %1 (%2) %3"_s.arg(code).arg(reason, title(record.tpdu)));
    return Reply::cmsError(code);
}
} // namespace simulator
