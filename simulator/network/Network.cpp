#include "simulator/network/Network.h"

#include "simulator/dialogue/ResultCodes.h"

using namespace Qt::StringLiterals;

namespace simulator
{
namespace
{
QString title(const Tpdu &tpdu)
{
    const auto part = tpdu.concatenation;
    return u"to %1%2: %3"_s.arg(
        tpdu.number,
        part ? u" (part %1 of %2, reference %3)"_s.arg(part->sequence).arg(part->total).arg(part->reference)
             : QString(),
        tpdu.text);
}
} // namespace

Reply Network::submit(const QByteArray &pdu)
{
    const std::variant<Tpdu, TpduError> decoded = decodeTpdu(pdu, Direction::FromModem);
    if (const auto *error = std::get_if<TpduError>(&decoded))
        return refuse({pdu, {}, {}}, cms::invalidPduParameter, error->reason);
    return submit({pdu, std::get<Tpdu>(decoded), {}});
}

Reply Network::submit(SubmitRecord record)
{
    constexpr int noNetwork = 331;
    constexpr int unknownError = 500;
    if (!m_state.isRegistered())
        return refuse(record, m_state.outages > 0 ? unknownError : noNetwork, u"no network"_s);
    Reply reply;
    const int codeOfNumber = m_state.refusedNumbers.value(record.tpdu.number);
    const AnswerChange *refusal = codeOfNumber == 0 ? m_state.answers.takeRefusal() : nullptr;
    if (codeOfNumber != 0) {
        reply = refuse(record, codeOfNumber, u"for that number"_s);
    } else if (refusal != nullptr) {
        reply = refuse(record, refusal->number, u"as planned"_s);
        if (refusal->kind == AnswerChange::Kind::BareOk)
            reply = Reply::ok();
    } else {
        m_lastReference = (m_lastReference + 1) % 256;
        ++m_accepted;
        m_listener(record);
        m_state.say((record.pdu.isEmpty() ? u"sent in text mode "_s : u"sent "_s) + title(record.tpdu));
        reply = Reply::ok({"+CMGS: " + QByteArray::number(m_lastReference)});
    }
    reply.delay = m_state.networkLatency;
    for (const QByteArray &line : std::exchange(m_state.unsolicitedInNextSend, {}))
        emit unsolicited({line});
    return reply;
}

Reply Network::refuse(SubmitRecord record, int code, const QString &reason)
{
    ++m_refused;
    record.refused = code;
    m_listener(record);
    m_state.say(u"refused with %1 (%2) %3"_s.arg(code).arg(reason, title(record.tpdu)));
    return Reply::cmsError(code);
}

QString Network::deliver(const QList<QByteArray> &pdus)
{
    m_waiting += pdus;
    const qsizetype before = m_waiting.size();
    const QString why = deliverWaiting();
    QString result = u"%1 delivered"_s.arg(before - m_waiting.size());
    if (!m_waiting.isEmpty())
        result += u", %1 waiting: %2"_s.arg(m_waiting.size()).arg(why);
    return result;
}

void Network::retrySoon()
{
    if (m_retryPending || m_waiting.isEmpty())
        return;
    m_retryPending = true;
    QMetaObject::invokeMethod(
        this,
        [this] {
            m_retryPending = false;
            deliverWaiting();
        },
        Qt::QueuedConnection);
}

void Network::setPlugged(bool plugged)
{
    m_plugged = plugged;
    if (plugged)
        retrySoon();
}

QString Network::obstacle() const
{
    if (!m_plugged)
        return u"unplugged"_s;
    if (m_state.sim.pinRequired || m_state.sim.isMissing)
        return u"no SIM, or locked"_s;
    if (!m_state.isRegistered())
        return u"not registered"_s;
    return {};
}

/// Delivers in order until the modem takes no more; returns why it does not.
QString Network::deliverWaiting()
{
    QString why = obstacle();
    while (why.isEmpty() && !m_waiting.isEmpty()) {
        if (route(m_waiting.first()))
            m_waiting.removeFirst();
        else
            why = u"storage full"_s;
    }
    if (!m_waiting.isEmpty())
        m_state.say(u"the network keeps %1 messages: %2"_s.arg(m_waiting.size()).arg(why));
    return why;
}

/// False when a message must be stored and there is no place. A flash message comes directly as soon as anything
/// is told.
bool Network::route(const QByteArray &pdu)
{
    const std::variant<Tpdu, TpduError> decoded = decodeTpdu(pdu, Direction::ToModem);
    const auto *tpdu = std::get_if<Tpdu>(&decoded);
    // Of +CNMI its <mt>, as long as its <mode> tells anything.
    const int mode = m_state.settings.notification[0] == 0 ? 0 : m_state.settings.notification[1];
    const bool isDirect = mode == 2 || (mode != 0 && tpdu && tpdu->isFlash);
    if (!isDirect)
        return store(pdu, mode != 0 && m_state.notifies);
    if (m_state.copiesDirect && !store(pdu, false))
        return false;
    m_state.say(u"message given to the program%1"_s.arg(m_state.copiesDirect ? QString()
                                                                             : u" without a stored copy"_s));
    if (m_state.notifies)
        emit unsolicited({"+CMT: ," + QByteArray::number(tpduLength(pdu)), pdu.toHex().toUpper()});
    return true;
}

bool Network::store(const QByteArray &pdu, bool notifies)
{
    const Memory memory = m_state.receivingMemory.value_or(m_state.selected[2]);
    const std::optional<int> index = m_state.add(memory, MessageStatus::ReceivedUnread, pdu);
    if (!index)
        return false;
    const QByteArray place = '"' + memoryName(memory) + "\"," + QByteArray::number(*index);
    m_state.say(
        u"received into %1%2"_s.arg(QString::fromLatin1(place), notifies ? QString() : u", not notified"_s));
    if (notifies)
        emit unsolicited({"+CMTI: " + place});
    return true;
}
} // namespace simulator
