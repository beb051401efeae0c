#include "simulator/commands/StorageCommands.h"

#include "simulator/dialogue/ResultCodes.h"
#include "simulator/network/MessageText.h"

namespace simulator
{
namespace
{
Reply storageUse(ModemState &state, const QByteArray &name, bool withNames)
{
    QByteArrayList fields;
    for (const Memory memory : state.selected) {
        fields += (withNames ? '"' + memoryName(memory) + "\"," : QByteArray()) +
                  QByteArray::number(state.used(memory)) + ',' + QByteArray::number(state.capacity(memory));
        if (fields.size() == state.maxMemories)
            break;
    }
    return Reply::ok({name + ": " + fields.join(',')});
}

Reply selectStorage(ModemState &state, const AtCommand &command)
{
    if (command.form == AtCommand::Form::Test) {
        const QByteArrayList lists(state.maxMemories,
                                   state.offersBoth ? R"(("SM","ME","MT"))" : R"(("SM","ME"))");
        return Reply::ok({command.name + ": " + lists.join(',')});
    }
    if (command.form == AtCommand::Form::Read)
        return storageUse(state, command.name, true);
    const QList<AtParameter> parameters = command.parameters();
    if (parameters.isEmpty() || parameters.size() > state.maxMemories ||
        parameters.size() < state.minMemories)
        return Reply::cmsError(cms::notAllowed);
    std::array<Memory, 3> selected = state.selected;
    for (qsizetype i = 0; i < parameters.size(); ++i) {
        const std::optional<Memory> memory = memoryFromName(parameters[i].text);
        if (!memory || (*memory == Memory::Both && !state.offersBoth))
            return Reply::cmsError(cms::notAllowed);
        selected.at(static_cast<size_t>(i)) = *memory;
    }
    state.selected = selected;
    return storageUse(state, command.name, false);
}

void markRead(StoredMessage &message)
{
    if (message.status == MessageStatus::ReceivedUnread)
        message.status = MessageStatus::ReceivedRead;
}

Reply listMessages(ModemState &state, const AtCommand &command)
{
    constexpr int all = 4;
    const std::optional<int> status = command.number();
    if (state.isTextMode() || !status || *status > all)
        return Reply::cmsError(state.isTextMode() ? cms::invalidTextParameter : cms::invalidPduParameter);
    Reply reply;
    for (const auto &[index, message] : state.messages(state.selected[0])) {
        if (*status != all && *status != static_cast<int>(message->status))
            continue;
        reply.lines += listLines(index, *message);
        markRead(*message);
    }
    return reply;
}

Reply readMessage(ModemState &state, const AtCommand &command)
{
    const ModemState::Place place = state.place(state.selected[0], command.number().value_or(-1));
    StoredMessage *message = place.store->find(place.index);
    if (!message)
        return Reply::cmsError(cms::invalidIndex);
    Reply reply = Reply::ok(readLines(state, *message));
    markRead(*message);
    return reply;
}

Reply deleteMessage(ModemState &state, DeliverService &deliveries, const AtCommand &command)
{
    const ModemState::Place place = state.place(state.selected[0], command.number().value_or(-1));
    if (!place.store->isValidIndex(place.index))
        return Reply::cmsError(cms::invalidIndex);
    if (!state.keepsRemoved)
        place.store->remove(place.index);
    deliveries.retrySoon();
    return Reply::ok();
}
} // namespace

void addStorageCommands(CommandTable &table, ModemState &state, DeliverService &deliveries)
{
    table.addWithSim("+CPMS", state,
                     [&state](const AtCommand &command) { return selectStorage(state, command); });
    table.addWithSim("+CMGL", state,
                     [&state](const AtCommand &command) { return listMessages(state, command); });
    table.addWithSim("+CMGR", state,
                     [&state](const AtCommand &command) { return readMessage(state, command); });
    table.addWithSim("+CMGD", state, [&state, &deliveries](const AtCommand &command) {
        return deleteMessage(state, deliveries, command);
    });
}
} // namespace simulator
