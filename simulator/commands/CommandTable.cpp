#include "simulator/commands/CommandTable.h"

namespace simulator
{
void CommandTable::addWithSim(const QByteArray &name, ModemState &state, const Handler &handler)
{
    add(name, [&state, handler](const AtCommand &command) {
        const std::optional<int> refusal = state.takeSimRefusal();
        return refusal ? Reply::cmsError(*refusal) : handler(command);
    });
}

void CommandTable::addNumber(const QByteArray &name, int &value, int max)
{
    add(name, [&value, max](const AtCommand &command) {
        if (command.form == AtCommand::Form::Read)
            return Reply::ok({command.name + ": " + QByteArray::number(value)});
        const int wanted = command.argument.isEmpty() ? 0 : command.number().value_or(-1);
        if (wanted < 0 || wanted > max)
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
