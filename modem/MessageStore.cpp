#include "modem/MessageStore.h"

#include "modem/SimState.h"
#include "modem/line/AnswerFields.h"
#include "modem/line/AtChannel.h"

#include <QMap>
#include <algorithm>
#include <cctype>

namespace
{

// <stat> in PDU mode, 3GPP TS 27.005, 3.1.
constexpr int receivedUnread = 0;
constexpr int receivedRead = 1;

bool isReceived(int stat)
{
    return stat == receivedUnread || stat == receivedRead;
}

bool isMemoryName(const QByteArray &name)
{
    return name.size() == 2 &&
           std::all_of(name.begin(), name.end(), [](unsigned char c) { return std::isupper(c) != 0; });
}

/// The TPDU behind "+CMGL: <index>,<stat>,[<alpha>],<length>" or "+CMGR: <stat>,[<alpha>],<length>".
StoredTpdu storedTpdu(const QByteArray &memory, int index, const QList<AnswerField> &fields,
                      const AtLine &line)
{
    return {memory, index, octetsOf(line.payload), fields.last().number().value_or(-1)};
}

} // namespace

bool MessageStore::initialise()
{
    m_memories.clear();
    m_totals.clear();
    m_selected.clear();
    m_proof.reset();

    QByteArrayList readable;
    const AtAnswer offer = m_channel.exchange("AT+CPMS=?", "+CPMS:", m_limits.command);
    if (offer.isLost())
        return false;
    if (offer.isOk()) {
        for (const AnswerField &name : answerFields(":" + offer.fields().value(0).text)) {
            if (isMemoryName(name.text))
                readable.append(name.text);
        }
    }
    const auto isTaken = [this](const QByteArray &memory) {
        m_receiving = memory;
        for (m_selectionSize = 3; m_selectionSize > 0; --m_selectionSize) {
            if (select(memory))
                return true;
        }
        m_selectionSize = 1;
        return false;
    };
    // The SIM first: it keeps the parts of a message when the modem is changed.
    for (const QByteArray &memory : {QByteArray("SM"), QByteArray("ME"), QByteArray("MT")}) {
        if ((readable.isEmpty() || readable.contains(memory)) && isTaken(memory)) {
            m_memories.append(memory);
            break;
        }
    }
    if (!m_channel.isLineOpen())
        return false;
    if (m_memories.isEmpty()) {
        m_memories.append(QByteArray()); // no +CPMS: there is one memory without a name
        return true;
    }
    // Messages of earlier days, or of a modem that receives elsewhere than it was told.
    for (const QByteArray &memory : {QByteArray("SM"), QByteArray("ME")}) {
        if (readable.contains(memory) && !m_memories.contains(memory))
            m_memories.append(memory);
    }
    return true;
}

void MessageStore::addMemory(const QByteArray &memory)
{
    if (!isMemoryName(memory) || m_memories.contains(memory) || m_memories.first() == QByteArray())
        return;
    // "MT" is SM and ME together: beside them it would show every message twice.
    if (memory == "MT") {
        addMemory("SM");
        addMemory("ME");
    } else if (!m_memories.contains("MT")) {
        m_memories.append(memory);
    }
}

/// Modems take three, two or one of the memories of reading, writing and receiving; what worked once is used
/// ever after. Only that of reading is ever changed: a modem that receives into another would be deaf when that is full.
QByteArray MessageStore::selection(const QByteArray &memory) const
{
    QByteArrayList memories(m_selectionSize, '"' + m_receiving + '"');
    memories.first() = '"' + memory + '"';
    return "AT+CPMS=" + memories.join(',');
}

bool MessageStore::select(const QByteArray &memory)
{
    if (memory == m_selected)
        return true;
    const AtAnswer answer = m_channel.exchange(selection(memory), "+CPMS:", m_limits.command);
    m_selected.clear(); // after a time-out either may be in force
    if (!answer.isOk())
        return false;
    m_selected = memory;
    // "+CPMS: <used1>,<total1>,...", of which the first is the memory of reading.
    const int total = answer.fields().value(1).number().value_or(0);
    if (total > 0 && total <= ModemBounds::storeEntriesMost)
        m_totals.insert(memory, total);
    return true;
}

ModemStatus::Memory MessageStore::level()
{
    const AtAnswer answer = m_channel.exchange("AT+CPMS?", "+CPMS:", m_limits.command);
    const QList<AnswerField> fields = answer.fields(); // "+CPMS: <mem1>,<used1>,<total1>,..."
    return {QString::fromLatin1(m_selected), fields.value(1).number().value_or(0),
            fields.value(2).number().value_or(0)};
}

/// A full store at the line's speed, twice, on top of an ordinary command.
std::chrono::milliseconds MessageStore::listLimit(const QByteArray &memory) const
{
    constexpr int octetsPerEntry = 2 * 176 + 48;
    constexpr int bitsPerOctet = 10;
    const qint64 entries = m_totals.value(memory, ModemBounds::storeEntries);
    // The line may be slower than the port's own speed: a USB modem's serial side, a network converter.
    constexpr int slowestBaud = 9600;
    return m_limits.command +
           std::chrono::milliseconds(entries * octetsPerEntry * bitsPerOctet * 1000 / slowestBaud);
}

std::optional<MessageStore::Listing> MessageStore::list(const QByteArray &memory)
{
    if (!select(memory))
        return std::nullopt;
    constexpr auto all = "AT+CMGL=4";
    const AtAnswer answer =
        m_channel.exchange(all, "+CMGL:", listLimit(memory), AtChannel::Expect::LinesWithPayload);
    if (answer.end != AtAnswer::End::Final || saysSimBusy(answer.result))
        return std::nullopt;
    if (!answer.isOk() && simState(answer).result != ModemResult::Ok)
        return std::nullopt;
    const std::optional<QList<AtLine>> lines = answer.isOk() ? answer.lines : readOneByOne(memory);
    if (!lines)
        return std::nullopt;
    Listing listing;
    listing.total = m_totals.value(memory, 0);
    QMap<int, StoredTpdu> received; // by index: a late listing may have come in front of this one
    for (const AtLine &line : *lines) {
        const QList<AnswerField> fields = answerFields(line.text);
        const std::optional<int> index = fields.first().number();
        if (fields.size() < 3 || !index) {
            listing.isDamaged = true;
            continue;
        }
        const std::optional<int> stat = fields[1].number();
        if (fields[1].kind == AnswerField::Kind::Quoted && !stat)
            return Listing{.isTextMode = true};
        ++listing.used;
        if (stat && isReceived(*stat))
            received.insert(*index, storedTpdu(memory, *index, fields, line));
    }
    listing.received = received.values();
    return listing;
}

std::optional<StoredTpdu> MessageStore::readAgain(const StoredTpdu &copy)
{
    if (!select(copy.memory))
        return std::nullopt;
    const auto agree = [](const StoredTpdu &a, const StoredTpdu &b) {
        // Two readings that lost the octets agree in nothing, unless both say that there are none.
        return a == b && (!a.octets.isEmpty() || a.tpduOctets == 0);
    };
    std::optional<StoredTpdu> second = readPlace(copy.memory, copy.index);
    if (second && agree(*second, copy))
        return second;
    if (!m_channel.isSynchronised())
        return std::nullopt;
    std::optional<StoredTpdu> third = readPlace(copy.memory, copy.index);
    if (third && (agree(*third, copy) || (second && agree(*third, *second))))
        return third;
    return std::nullopt;
}

std::optional<StoredTpdu> MessageStore::read(const QByteArray &memory, int index)
{
    return select(memory) ? readPlace(memory, index) : std::nullopt;
}

/// nullopt when no received message was read there.
std::optional<StoredTpdu> MessageStore::readPlace(const QByteArray &memory, int index)
{
    m_proof.reset();
    const AtAnswer answer =
        m_channel.exchange("AT+CMGR=" + QByteArray::number(index), "+CMGR:", m_limits.command,
                           AtChannel::Expect::LinesWithPayload);
    if (!answer.isOk() || answer.lines.isEmpty())
        return std::nullopt;
    const AtLine &line = answer.lines.last();
    const QList<AnswerField> fields = answerFields(line.text);
    const std::optional<int> stat = fields.first().number();
    if (!stat || !isReceived(*stat))
        return std::nullopt;
    m_proof = storedTpdu(memory, index, fields, line);
    m_sinceProof.start();
    m_proofAt = m_channel.exchanges();
    return m_proof;
}

/// For modems that cannot list: every index is read, and told as a listing would. The first index may be 0 or 1.
std::optional<QList<AtLine>> MessageStore::readOneByOne(const QByteArray &memory)
{
    QList<AtLine> lines;
    const int last = m_totals.value(memory, ModemBounds::storeEntries);
    for (int index = 0; index <= last; ++index) {
        const QByteArray place = QByteArray::number(index);
        const AtAnswer answer = m_channel.exchange("AT+CMGR=" + place, "+CMGR:", m_limits.command,
                                                   AtChannel::Expect::LinesWithPayload);
        if (answer.end != AtAnswer::End::Final)
            return std::nullopt;
        if (!answer.isOk() || answer.lines.isEmpty() || answer.lines.first().payload.isEmpty())
            continue; // an empty place
        AtLine line = answer.lines.first();
        lines.append({line.text.insert(line.text.indexOf(':') + 1, place + ','), line.payload});
    }
    return lines;
}

MessageStore::Removal MessageStore::remove(const StoredTpdu &copy)
{
    if (!select(copy.memory))
        return Removal::Failed;
    if (m_proof != copy || m_proofAt != m_channel.exchanges() ||
        m_sinceProof.hasExpired(m_limits.proof.count())) {
        const std::optional<StoredTpdu> reading = readAgain(copy);
        if (!reading)
            return Removal::Failed;
        if (*reading != copy)
            return Removal::Moved;
    }
    m_proof.reset();
    const AtAnswer answer =
        m_channel.exchange("AT+CMGD=" + QByteArray::number(copy.index), {}, m_limits.command);
    return answer.isOk() ? Removal::Removed : Removal::Failed;
}
