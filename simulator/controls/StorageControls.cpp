#include "simulator/controls/ControlCommands.h"
#include "simulator/network/MessageText.h"
#include "simulator/tpdu/TpduEncoder.h"

using namespace Qt::StringLiterals;

namespace simulator
{
namespace
{
/// One message in a line, for people.
QString contentOf(const StoredMessage &message)
{
    const auto decoded =
        decodeTpdu(message.pdu, message.isReceived() ? Direction::ToModem : Direction::FromModem);
    if (const auto *error = std::get_if<TpduError>(&decoded))
        return error->reason;
    const auto &tpdu = std::get<Tpdu>(decoded);
    const auto part = tpdu.concatenation;
    QString content = tpdu.number + (part ? u" (%1/%2)"_s.arg(part->sequence).arg(part->total) : QString()) +
                      u": "_s + tpdu.text;
    return content.replace(u'\n', u' ').replace(u'\r', u' ');
}

QString listStorage(ModemState &state)
{
    QString text;
    int count = 0;
    for (const Memory memory : {Memory::Sim, Memory::Equipment}) {
        for (const auto &[index, message] : state.store(memory).messages()) {
            text += u"\n  %1,%2 %3 %4"_s.arg(QString::fromLatin1(memoryName(memory)))
                        .arg(index)
                        .arg(QString::fromLatin1(statusWord(message.status)), contentOf(message));
            ++count;
        }
    }
    return u"%1 messages"_s.arg(count) + text;
}

QString store(ModemState &state, MessageStatus status, const QByteArray &pdu)
{
    const std::optional<int> index = state.store(Memory::Sim).add(status, pdu);
    if (!index)
        throw ControlError(u"storage full"_s);
    return u"SM,%1"_s.arg(*index);
}
} // namespace

void addStorageControls(ControlTable &controls, Modem &modem)
{
    ModemState &state = modem.state();
    controls.add(u"storage"_s, u"list"_s, u"show what is stored in SM and ME"_s,
                 [&state](ControlWords &words) {
                     static_cast<void>(words.choice({"list"}));
                     return listStorage(state);
                 });
    controls.add(u"storage-size"_s, u"N [SM|ME]"_s, u"places in the stores"_s, [&modem](ControlWords &words) {
        const int size = words.number(u"places"_s, 0, ControlWords::maxCount);
        const std::optional<Memory> only =
            words.isEmpty() ? std::nullopt : memoryFromName(words.word(u"memory"_s).toLatin1());
        for (const Memory memory : {Memory::Sim, Memory::Equipment}) {
            if (!only || *only == memory)
                modem.state().store(memory).setCapacity(size);
        }
        modem.deliveries().retrySoon();
    });
    controls.add(u"receive-into"_s, u"SM|ME|MT"_s, u"where messages are stored, whatever AT+CPMS selected"_s,
                 [&state](ControlWords &words) {
                     state.receivingMemory = static_cast<Memory>(words.choice({"SM", "ME", "MT"}));
                 });
    controls.add(
        u"memories"_s, u"1|2|3 [only] [mt]"_s,
        u"how many memories AT+CPMS takes, at most or only so many; mt: it knows MT, SM and ME together"_s,
        [&state](ControlWords &words) {
            state.maxMemories = words.number(u"memories"_s, 1, 3);
            state.minMemories = words.takeIf(u"only"_s) ? state.maxMemories : 1;
            state.offersBoth = words.takeIf(u"mt"_s);
        });
    controls.add(u"first-index"_s, u"N"_s, u"number of the first place in SM and ME"_s,
                 [&state](ControlWords &words) {
                     const int index = words.number(u"index"_s, 0, 999'999'999);
                     for (const Memory memory : {Memory::Sim, Memory::Equipment})
                         state.store(memory).setFirstIndex(index);
                 });
    controls.add(u"deletes"_s, u"on|off"_s, u"off: AT+CMGD answers OK and removes nothing"_s,
                 [&state](ControlWords &words) { state.keepsRemoved = !words.onOff(); });
    controls.add(u"moves-up"_s, u"on|off"_s,
                 u"on: what stands behind a removed message moves up by a place"_s,
                 [&state](ControlWords &words) {
                     const bool isMoving = words.onOff();
                     for (const Memory memory : {Memory::Sim, Memory::Equipment})
                         state.store(memory).setMoving(isMoving);
                 });
    controls.add(u"others"_s, u"remove N"_s, u"somebody else removes what stands in this place of SM"_s,
                 [&state](ControlWords &words) {
                     static_cast<void>(words.choice({"remove"}));
                     state.store(Memory::Sim).remove(words.number(u"place"_s, 0, ControlWords::maxCount));
                 });
    controls.add(u"direct-copy"_s, u"on|off"_s, u"on: a message that comes as +CMT is stored, too"_s,
                 [&state](ControlWords &words) { state.copiesDirect = words.onOff(); });
    controls.add(u"store-draft"_s, u"TEXT"_s, u"put an unsent message into SM"_s,
                 [&state](ControlWords &words) {
                     const std::optional<QByteArray> pdu = encodeSubmit(u"10086"_s, words.rest());
                     if (!pdu)
                         throw ControlError(u"a draft has one part"_s);
                     return store(state, MessageStatus::StoredUnsent, *pdu);
                 });
    controls.add(u"store-tpdu"_s, u"HEX"_s,
                 u"put these octets into SM as an unread message, without notification"_s,
                 [&state](ControlWords &words) {
                     return store(state, MessageStatus::ReceivedUnread, words.octets(u"TPDU"_s));
                 });
}
} // namespace simulator
