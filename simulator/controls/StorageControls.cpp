#include "simulator/controls/Controls.h"
#include "simulator/tpdu/TpduDecoder.h"

using namespace Qt::StringLiterals;

namespace simulator
{
namespace
{
/// One message in a line, for people.
QString contentOf(const StoredMessage &message)
{
    const bool isReceived = message.status <= MessageStatus::ReceivedRead;
    const auto decoded = decodeTpdu(message.pdu, isReceived ? Direction::ToModem : Direction::FromModem);
    if (const auto *error = std::get_if<TpduError>(&decoded))
        return error->reason;
    const auto &tpdu = std::get<Tpdu>(decoded);
    const auto part = tpdu.concatenation;
    QString content = tpdu.number + (part ? u" (%1/%2)"_s.arg(part->sequence).arg(part->total) : QString()) +
                      u": "_s + tpdu.text;
    return content.replace(u'\n', u' ').replace(u'\r', u' ');
}

void listStorage(Modem &modem, ControlWords &words)
{
    static const QStringList statuses{u"REC UNREAD"_s, u"REC READ"_s, u"STO UNSENT"_s, u"STO SENT"_s};
    static_cast<void>(words.choice({u"list"_s}));
    words.answer(u"%1 messages"_s.arg(modem.state().used(Memory::Both)));
    for (const Memory memory : {Memory::Sim, Memory::Equipment}) {
        for (const auto &[index, message] : modem.state().store(memory).messages)
            words.answer(u"\n  %1,%2 %3 %4"_s.arg(QString::fromLatin1(memoryName(memory)))
                             .arg(index)
                             .arg(statuses[static_cast<int>(message.status)], contentOf(message)));
    }
}

void setCapacity(Modem &modem, ControlWords &words)
{
    const int places = words.count();
    const int only = words.isEmpty() ? -1 : words.choice({u"SM"_s, u"ME"_s});
    for (const Memory memory : {Memory::Sim, Memory::Equipment}) {
        if (only < 0 || memory == static_cast<Memory>(only))
            modem.state().store(memory).capacity = places;
    }
}

void setMemories(Modem &modem, ControlWords &words)
{
    ModemState &state = modem.state();
    state.maxMemories = words.number(1, 3);
    state.minMemories = words.takeIf(u"only"_s) ? state.maxMemories : 1;
    state.offersBoth = words.takeIf(u"mt"_s);
}

void storeTpdu(Modem &modem, ControlWords &words)
{
    const auto status =
        words.takeIf(u"unsent"_s) ? MessageStatus::StoredUnsent : MessageStatus::ReceivedUnread;
    const QByteArray octets = QByteArray::fromHex(words.word(u"hexadecimal digits"_s).toLatin1());
    if (!modem.state().store(Memory::Sim).add(status, octets))
        throw ControlError(u"storage full"_s);
}
} // namespace

QList<Control> storageControls()
{
    return {
        {u"storage list"_s, u"show what is stored in SM and ME"_s, listStorage},
        {u"storage-size N [SM|ME]"_s, u"places in the stores"_s, setCapacity},
        {u"receive-into SM|ME|MT"_s, u"where messages are stored, whatever AT+CPMS selected"_s,
         [](Modem &modem, ControlWords &words) {
             modem.state().receivingMemory = static_cast<Memory>(words.choice({u"SM"_s, u"ME"_s, u"MT"_s}));
         }},
        {u"memories 1|2|3 [only] [mt]"_s,
         u"how many memories AT+CPMS takes, at most or only so many; mt: it knows MT, SM and ME together"_s,
         setMemories},
        {u"first-index N"_s, u"number of the first place in SM and ME"_s,
         [](Modem &modem, ControlWords &words) {
             const int index = words.count();
             for (MessageStore &store : modem.state().stores)
                 store.firstIndex = index;
         }},
        {u"deletes on|off"_s, u"off: AT+CMGD answers OK and removes nothing"_s,
         [](Modem &modem, ControlWords &words) { modem.state().keepsRemoved = !words.onOff(); }},
        {u"moves-up on|off"_s, u"on: what stands behind a removed message moves up by a place"_s,
         [](Modem &modem, ControlWords &words) {
             const bool isMoving = words.onOff();
             for (MessageStore &store : modem.state().stores)
                 store.isMoving = isMoving;
         }},
        {u"others remove N"_s, u"somebody else removes what stands in this place of SM"_s,
         [](Modem &modem, ControlWords &words) {
             static_cast<void>(words.choice({u"remove"_s}));
             modem.state().store(Memory::Sim).remove(words.count());
         }},
        {u"store-tpdu [unsent] HEX"_s,
         u"put these octets into SM, as an unread message or a draft, without notice"_s, storeTpdu},
    };
}
} // namespace simulator
