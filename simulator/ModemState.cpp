#include "simulator/ModemState.h"

#include "simulator/ResultCodes.h"

namespace simulator
{
QByteArray memoryName(Memory memory)
{
    return memory == Memory::Sim ? "SM" : "ME";
}

std::optional<Memory> memoryFromName(const QByteArray &name)
{
    const QByteArray upper = name.toUpper();
    if (upper == "SM")
        return Memory::Sim;
    if (upper == "ME")
        return Memory::Equipment;
    return std::nullopt;
}

std::optional<int> ModemState::takeSimRefusal()
{
    if (sim.needsPuk())
        return cms::simPukRequired;
    if (sim.isLocked())
        return cms::simPinRequired;
    if (sim.busyCommands > 0) {
        --sim.busyCommands;
        return cms::simBusy;
    }
    return std::nullopt;
}
} // namespace simulator
