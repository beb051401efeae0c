#include "simulator/DeliverService.h"

#include "simulator/MessageText.h"

using namespace Qt::StringLiterals;

namespace simulator
{
namespace
{
enum NotificationField { Mode, Messages, Broadcasts, Reports, Buffer };

/// In mode 0 the modem keeps so many notifications; the oldest goes when one more comes.
constexpr qsizetype maxBuffered = 32;
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
    if (m_state.sim.isLocked())
        return u"SIM locked"_s;
    if (!m_state.isRegistered() || m_state.functionality != 1)
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

/// False when a message must be stored and there is no place.
bool DeliverService::route(const QByteArray &pdu)
{
    const auto &setting = m_state.settings.notification;
    const std::variant<Tpdu, TpduError> decoded = decodeTpdu(pdu, Direction::ToModem);
    const auto *tpdu = std::get_if<Tpdu>(&decoded);
    if (tpdu && tpdu->kind == Tpdu::Kind::StatusReport) {
        if (setting[Reports] == 2)
            return store(pdu, "+CDSI: ", true);
        m_state.say(
            u"status report %1"_s.arg(setting[Reports] == 1 ? u"given to the program"_s : u"dropped"_s));
        if (setting[Reports] == 1)
            direct(directReportLines(m_state, pdu));
        return true;
    }
    const int messageClass = tpdu ? tpdu->messageClass.value_or(-1) : -1;
    const int messages = setting[Messages];
    const bool flash = messageClass == 0 && messages != 0 && m_state.flashDirect;
    const bool isDirect =
        flash || (messages == 2 && messageClass != 2) || (messages == 3 && messageClass == 3);
    if (!isDirect)
        return store(pdu, "+CMTI: ", messages != 0);
    if (m_state.copiesDirect && !store(pdu, {}, false))
        return false;
    m_state.say(u"message given to the program%1"_s.arg(m_state.copiesDirect ? QString()
                                                                             : u" without a stored copy"_s));
    direct(directMessageLines(m_state, pdu));
    return true;
}

bool DeliverService::store(const QByteArray &pdu, const QByteArray &prefix, bool notifies)
{
    const Memory memory = m_state.receivingMemory.value_or(m_state.selected[2]);
    const std::optional<int> index = m_state.add(memory, MessageStatus::ReceivedUnread, pdu);
    if (!index)
        return false;
    const QByteArray place = '"' + memoryName(memory) + "\"," + QByteArray::number(*index);
    m_state.say(u"received into %1%2"_s.arg(QString::fromLatin1(place),
                                            notifies && m_state.notifies ? QString() : u", not notified"_s));
    if (notifies)
        notify({prefix + place});
    return true;
}

void DeliverService::direct(const QByteArrayList &lines)
{
    if (m_state.settings.messageService == 1)
        ++m_unacknowledged;
    notify(lines);
}

void DeliverService::notify(const QByteArrayList &lines)
{
    if (!m_state.notifies)
        return;
    if (m_state.settings.notification[Mode] != 0) {
        emit unsolicited(lines);
        return;
    }
    m_buffered += lines;
    if (m_buffered.size() > maxBuffered)
        m_buffered.removeFirst();
}

void DeliverService::notificationModeChanged()
{
    if (m_state.settings.notification[Mode] == 0)
        return;
    const QList<QByteArrayList> buffered = std::exchange(m_buffered, {});
    if (m_state.settings.notification[Buffer] != 0)
        return;
    for (const QByteArrayList &lines : buffered)
        emit unsolicited(lines);
}

bool DeliverService::acknowledge()
{
    if (m_unacknowledged == 0)
        return false;
    --m_unacknowledged;
    return true;
}

void DeliverService::restart()
{
    m_buffered.clear();
    m_unacknowledged = 0;
}
} // namespace simulator
