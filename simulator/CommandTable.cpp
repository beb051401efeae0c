#include "simulator/CommandTable.h"

namespace simulator
{
std::optional<int> numberAt(const QList<AtParameter> &parameters, qsizetype at)
{
    return at < parameters.size() ? parameters[at].number() : std::nullopt;
}

CommandTable::Handler withSim(ModemState &state, const CommandTable::Handler &handler)
{
    return [&state, handler](const AtCommand &command) {
        if (command.form != AtCommand::Form::Test) {
            if (const std::optional<int> refusal = state.takeSimRefusal())
                return Reply::cmsError(*refusal);
        }
        return handler(command);
    };
}
} // namespace simulator
