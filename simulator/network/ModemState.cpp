#include "simulator/network/ModemState.h"

#include "simulator/dialogue/ResultCodes.h"

namespace simulator
{
namespace
{
const QByteArrayList memoryNames{"SM", "ME", "MT"};
} // namespace

QByteArray memoryName(Memory memory)
{
    return memoryNames.at(static_cast<int>(memory));
}

std::optional<Memory> memoryFromName(const QByteArray &name)
{
    const qsizetype found = memoryNames.indexOf(name.toUpper());
    return found < 0 ? std::nullopt : std::optional(static_cast<Memory>(found));
}

ModemState::Place ModemState::place(Memory memory, int number)
{
    if (memory != Memory::Both)
        return {&store(memory), number};
    const int behindSim = number - stores[0].capacity;
    return behindSim >= stores[0].firstIndex ? Place{&stores[1], behindSim} : Place{&stores[0], number};
}

std::map<int, StoredMessage *> ModemState::messages(Memory memory)
{
    std::map<int, StoredMessage *> all;
    int offset = 0;
    for (MessageStore &store : stores) {
        if (memory != Memory::Both && &store != &this->store(memory))
            continue;
        for (auto &[index, message] : store.messages)
            all.emplace(offset + index, &message);
        offset = store.capacity;
    }
    return all;
}

std::optional<int> ModemState::add(Memory memory, MessageStatus status, const QByteArray &pdu)
{
    if (memory != Memory::Both)
        return store(memory).add(status, pdu);
    if (const std::optional<int> index = stores[0].add(status, pdu))
        return index;
    const std::optional<int> index = stores[1].add(status, pdu);
    return index ? std::optional(*index + stores[0].capacity) : std::nullopt;
}

int ModemState::used(Memory memory) const
{
    return (memory == Memory::Equipment ? 0 : stores[0].used()) +
           (memory == Memory::Sim ? 0 : stores[1].used());
}

int ModemState::capacity(Memory memory) const
{
    return (memory == Memory::Equipment ? 0 : stores[0].capacity) +
           (memory == Memory::Sim ? 0 : stores[1].capacity);
}

void ModemState::exchangeSim()
{
    std::swap(stores[0].messages, m_onOtherSim);
    std::swap(sim.iccid, m_otherIccid);
}

std::optional<int> ModemState::simRefusal() const
{
    if (sim.isMissing)
        return cme::simNotInserted;
    if (sim.pinRequired)
        return cme::simPinRequired;
    if (!sim.starting.hasExpired())
        return sim.startingCode;
    return std::nullopt;
}
} // namespace simulator
