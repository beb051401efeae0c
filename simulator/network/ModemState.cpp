#include "simulator/network/ModemState.h"

#include "simulator/dialogue/ResultCodes.h"

#include <algorithm>

namespace simulator
{
namespace
{
constexpr std::array<const char *, 3> memoryNames{"SM", "ME", "MT"};
} // namespace

QByteArray memoryName(Memory memory)
{
    return memoryNames.at(static_cast<size_t>(memory));
}

std::optional<Memory> memoryFromName(const QByteArray &name)
{
    const auto found = std::find(memoryNames.begin(), memoryNames.end(), name.toUpper());
    return found == memoryNames.end() ? std::nullopt
                                      : std::optional(static_cast<Memory>(found - memoryNames.begin()));
}

ModemState::Place ModemState::place(Memory memory, int number)
{
    const int behindSim = number - m_simStore.capacity();
    if (memory == Memory::Both && behindSim >= m_simStore.firstIndex())
        return {&m_equipmentStore, behindSim};
    return {memory == Memory::Equipment ? &m_equipmentStore : &m_simStore, number};
}

std::map<int, StoredMessage *> ModemState::messages(Memory memory)
{
    std::map<int, StoredMessage *> all;
    const int offset = memory == Memory::Both ? m_simStore.capacity() : 0;
    if (memory != Memory::Equipment) {
        for (auto &[index, message] : m_simStore.messages())
            all.emplace(index, &message);
    }
    if (memory != Memory::Sim) {
        for (auto &[index, message] : m_equipmentStore.messages())
            all.emplace(offset + index, &message);
    }
    return all;
}

std::optional<int> ModemState::add(Memory memory, MessageStatus status, const QByteArray &pdu)
{
    if (memory != Memory::Both)
        return store(memory).add(status, pdu);
    if (const std::optional<int> index = m_simStore.add(status, pdu))
        return index;
    const std::optional<int> index = m_equipmentStore.add(status, pdu);
    return index ? std::optional(*index + m_simStore.capacity()) : std::nullopt;
}

int ModemState::used(Memory memory) const
{
    return (memory == Memory::Equipment ? 0 : m_simStore.used()) +
           (memory == Memory::Sim ? 0 : m_equipmentStore.used());
}

int ModemState::capacity(Memory memory) const
{
    return (memory == Memory::Equipment ? 0 : m_simStore.capacity()) +
           (memory == Memory::Sim ? 0 : m_equipmentStore.capacity());
}

void ModemState::exchangeSim()
{
    std::swap(m_simStore.messages(), m_onOtherSim);
    std::swap(sim.iccid, m_otherIccid);
}

std::optional<int> ModemState::takeSimRefusal()
{
    if (sim.isMissing)
        return cms::simNotInserted;
    if (sim.pinRequired)
        return cms::simPinRequired;
    if (!sim.starting.hasExpired())
        return sim.startingCode;
    if (sim.busyCommands == 0)
        return std::nullopt;
    --sim.busyCommands;
    return cms::simBusy;
}
} // namespace simulator
