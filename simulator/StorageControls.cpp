#include "simulator/ControlCommands.h"
#include "simulator/MessageText.h"
#include "simulator/TpduEncoder.h"

using namespace Qt::StringLiterals;

namespace simulator
{
namespace
{
QString listStorage(Modem &modem)
{
    QString text;
    int count = 0;
    for (const Memory memory : {Memory::Sim, Memory::Equipment}) {
        for (const auto &[index, message] : modem.state().store(memory).messages()) {
            const bool received = message.status == MessageStatus::ReceivedUnread ||
                                  message.status == MessageStatus::ReceivedRead;
            const auto decoded =
                decodeTpdu(message.pdu, received ? Direction::ToModem : Direction::FromModem);
            QString content;
            if (const auto *tpdu = std::get_if<Tpdu>(&decoded)) {
                const auto part = tpdu->concatenation;
                content = tpdu->number +
                          (part ? u" (%1/%2)"_s.arg(part->sequence).arg(part->total) : QString()) + u": "_s +
                          tpdu->text;
                content.replace(u'\n', u' ').replace(u'\r', u' ');
            } else {
                content = std::get<TpduError>(decoded).reason;
            }
            text += u"  %1,%2 %3 %4\n"_s.arg(QString::fromLatin1(memoryName(memory)))
                        .arg(index)
                        .arg(QString::fromLatin1(statusWord(message.status)), content);
            ++count;
        }
    }
    return count == 0 ? u"0 messages"_s : text + u"ok %1 messages"_s.arg(count);
}
} // namespace

void addStorageControls(ControlTable &controls, Modem &modem)
{
    controls.add(u"storage"_s, u"list|clear"_s, u"show or empty what is stored in SM and ME"_s,
                 [&modem](ControlWords &words) {
                     if (words.takeIf(u"list"_s))
                         return listStorage(modem);
                     if (!words.takeIf(u"clear"_s))
                         throw ControlError(u"list or clear expected"_s);
                     for (const Memory memory : {Memory::Sim, Memory::Equipment})
                         modem.state().store(memory).clear();
                     modem.deliveries().retrySoon();
                     return QString();
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
        return QString();
    });
    controls.add(u"receive-into"_s, u"SM|ME|MT|selected"_s,
                 u"where messages are stored, whatever AT+CPMS selected"_s, [&modem](ControlWords &words) {
                     const QString name = words.word(u"memory"_s);
                     modem.state().receivingMemory = memoryFromName(name.toLatin1());
                     if (!modem.state().receivingMemory && name != u"selected")
                         throw ControlError(u"SM, ME, MT or selected expected"_s);
                     return QString();
                 });
    controls.add(
        u"memories"_s, u"1|2|3 [only] [mt]"_s,
        u"how many memories AT+CPMS takes, at most or only so many; mt: it knows MT, SM and ME together"_s,
        [&modem](ControlWords &words) {
            ModemState &state = modem.state();
            state.maxMemories = words.number(u"memories"_s, 1, 3);
            state.minMemories = words.takeIf(u"only"_s) ? state.maxMemories : 1;
            state.offersBoth = words.takeIf(u"mt"_s);
            return QString();
        });
    controls.add(u"first-index"_s, u"N"_s, u"number of the first place in SM and ME"_s,
                 [&modem](ControlWords &words) {
                     const int index = words.number(u"index"_s, 0, 999'999'999);
                     for (const Memory memory : {Memory::Sim, Memory::Equipment})
                         modem.state().store(memory).setFirstIndex(index);
                     return QString();
                 });
    controls.add(u"deletes"_s, u"on|off"_s, u"off: AT+CMGD answers OK and removes nothing"_s,
                 [&modem](ControlWords &words) {
                     modem.state().keepsRemoved = !words.onOff();
                     return QString();
                 });
    controls.add(u"direct-copy"_s, u"on|off"_s, u"on: a message that comes as +CMT is stored, too"_s,
                 [&modem](ControlWords &words) {
                     modem.state().copiesDirect = words.onOff();
                     return QString();
                 });
    controls.add(
        u"store-draft"_s, u"TEXT"_s, u"put an unsent message into SM"_s, [&modem](ControlWords &words) {
            const QString text = words.rest();
            std::optional<QByteArray> pdu = encodeSubmit(u"10086"_s, text, 0, 0);
            if (!pdu)
                pdu = encodeSubmit(u"10086"_s, text, 0, 8);
            if (!pdu)
                throw ControlError(u"a draft has one part"_s);
            const auto index = modem.state().store(Memory::Sim).add(MessageStatus::StoredUnsent, *pdu);
            if (!index)
                throw ControlError(u"storage full"_s);
            return u"SM,%1"_s.arg(*index);
        });
    controls.add(
        u"store-tpdu"_s, u"HEX"_s, u"put these octets into SM as an unread message, without notification"_s,
        [&modem](ControlWords &words) {
            const auto index =
                modem.state().store(Memory::Sim).add(MessageStatus::ReceivedUnread, words.octets(u"TPDU"_s));
            if (!index)
                throw ControlError(u"storage full"_s);
            return u"SM,%1"_s.arg(*index);
        });
}
} // namespace simulator
