#include "simulator/network/DeliverService.h"

#include "simulator/network/MessageText.h"

using namespace Qt::StringLiterals;

namespace simulator
{
namespace
{
/// What +CNMI says of received messages: its <mt>, as long as its <mode> tells anything.
int messageMode(const ModemState &state)
{
    return state.settings.notification[0] == 0 ? 0 : state.settings.notification[1];
}
} // namespace

QString DeliverService::deliver(const QList<QByteArray> &pdus)
{
    m_waiting += pdus;
    const qsizetype before = m_waiting.size();
    const QString why = deliverWaiting();
    QString result = u"%1 delivered"_s.arg(before - m_waiting.size());
    if (!m_waiting.isEmpty())
        result += u", %1 waiting: %2"_s.arg(m_waiting.size()).arg(why);
    return result;
}

void DeliverService::retrySoon()
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

void DeliverService::setPlugged(bool plugged)
{
    m_plugged = plugged;
    if (plugged)
        retrySoon();
}

QString DeliverService::obstacle() const
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
QString DeliverService::deliverWaiting()
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
bool DeliverService::route(const QByteArray &pdu)
{
    const std::variant<Tpdu, TpduError> decoded = decodeTpdu(pdu, Direction::ToModem);
    const auto *tpdu = std::get_if<Tpdu>(&decoded);
    const int mode = messageMode(m_state);
    const bool isDirect = mode == 2 || (mode != 0 && tpdu && tpdu->isFlash);
    if (!isDirect)
        return store(pdu, mode != 0 && m_state.notifies);
    if (m_state.copiesDirect && !store(pdu, false))
        return false;
    m_state.say(u"message given to the program%1"_s.arg(m_state.copiesDirect ? QString()
                                                                             : u" without a stored copy"_s));
    if (m_state.notifies)
        emit unsolicited(directMessageLines(m_state, pdu));
    return true;
}

bool DeliverService::store(const QByteArray &pdu, bool notifies)
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
