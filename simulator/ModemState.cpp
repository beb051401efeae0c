#include "simulator/ModemState.h"

#include "simulator/ResultCodes.h"

namespace simulator
{
QByteArray memoryName(Memory memory)
{
    switch (memory) {
    case Memory::Sim:
        return "SM";
    case Memory::Equipment:
        return "ME";
    case Memory::Both:
        return "MT";
    }
    Q_UNREACHABLE();
}

std::optional<Memory> memoryFromName(const QByteArray &name)
{
    const QByteArray upper = name.toUpper();
    if (upper == "SM")
        return Memory::Sim;
    if (upper == "ME")
        return Memory::Equipment;
    if (upper == "MT")
        return Memory::Both;
    return std::nullopt;
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

std::optional<int> ModemState::takeSimRefusal()
{
    if (sim.needsPuk())
        return cms::simPukRequired;
    if (sim.isLocked())
        return cms::simPinRequired;
    if (!sim.starting.hasExpired())
        return sim.startingCode;
    if (sim.busyCommands > 0) {
        --sim.busyCommands;
        return cms::simBusy;
    }
    return std::nullopt;
}
} // namespace simulator
