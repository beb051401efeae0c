#include "simulator/commands/CommandTable.h"

#include "simulator/dialogue/ResultCodes.h"

namespace simulator
{
CommandTable::CommandTable(Network &network) : m_network(network)
{
    addGeneral();
    addMessage();
    addStorage();
}

void CommandTable::add(const QByteArray &name, Handler handler)
{
    m_handlers.insert(name,
                      [this, handler](const AtCommand &command) { return handler(m_network, command); });
}

void CommandTable::addWithSim(const QByteArray &name, Handler handler)
{
    m_handlers.insert(name, [this, handler](const AtCommand &command) {
        const std::optional<int> refusal = m_network.state().simRefusal();
        if (!refusal)
            return handler(m_network, command);
        return Reply::cmsError(*refusal < cms::ofSim ? *refusal + cms::ofSim : *refusal);
    });
}

void CommandTable::addSwitch(const QByteArray &name, int &value)
{
    m_handlers.insert(name, [&value](const AtCommand &command) {
        if (command.isRead())
            return Reply::ok({command.name + ": " + QByteArray::number(value)});
        const int wanted = command.tail.isEmpty() ? 0 : command.number().value_or(-1);
        if (wanted < 0 || wanted > 1)
            return Reply::error();
        value = wanted;
        return Reply::ok();
    });
}

Reply CommandTable::run(const AtCommand &command) const
{
    const auto handler = m_handlers.constFind(command.name);
    return handler == m_handlers.cend() ? Reply::error() : (*handler)(command);
}
} // namespace simulator
