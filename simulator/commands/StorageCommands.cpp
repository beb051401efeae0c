#include "simulator/commands/CommandTable.h"
#include "simulator/dialogue/ResultCodes.h"

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
    }
    return Reply::ok({name + ": " + fields.first(state.maxMemories).join(',')});
}

Reply selectStorage(Network &network, const AtCommand &command)
{
    ModemState &state = network.state();
    if (command.isTest()) {
        const QByteArrayList lists(state.maxMemories,
                                   state.offersBoth ? R"(("SM","ME","MT"))" : R"(("SM","ME"))");
        return Reply::ok({command.name + ": " + lists.join(',')});
    }
    if (command.isRead())
        return storageUse(state, command.name, true);
    const QByteArrayList parameters = command.parameters();
    if (parameters.size() > state.maxMemories || parameters.size() < state.minMemories)
        return Reply::cmsError(cms::notAllowed);
    std::array<Memory, 3> selected = state.selected;
    for (qsizetype i = 0; i < parameters.size(); ++i) {
        const std::optional<Memory> memory = memoryFromName(parameters[i]);
        if (!memory || (*memory == Memory::Both && !state.offersBoth))
            return Reply::cmsError(cms::notAllowed);
        selected.at(static_cast<size_t>(i)) = *memory;
    }
    state.selected = selected;
    return storageUse(state, command.name, false);
}

/// The lines of a message in PDU mode, after which it counts as read.
QByteArrayList readLines(const QByteArray &header, StoredMessage &message)
{
    const QByteArray status = QByteArray::number(static_cast<int>(message.status));
    if (message.status == MessageStatus::ReceivedUnread)
        message.status = MessageStatus::ReceivedRead;
    return {header + status + ",," + QByteArray::number(tpduLength(message.pdu)),
            message.pdu.toHex().toUpper()};
}

Reply listMessages(Network &network, const AtCommand &command)
{
    ModemState &state = network.state();
    constexpr int all = 4;
    const std::optional<int> status = command.number();
    if (state.isTextMode() || !status || *status > all)
        return Reply::cmsError(state.isTextMode() ? cms::invalidTextParameter : cms::invalidPduParameter);
    Reply reply;
    for (const auto &[index, message] : state.messages(state.selected[0])) {
        if (*status == all || *status == static_cast<int>(message->status))
            reply.lines += readLines("+CMGL: " + QByteArray::number(index) + ',', *message);
    }
    return reply;
}

Reply readMessage(Network &network, const AtCommand &command)
{
    ModemState &state = network.state();
    const ModemState::Place place = state.place(state.selected[0], command.number().value_or(-1));
    StoredMessage *message = place.store->find(place.index);
    if (!message || state.isTextMode())
        return Reply::cmsError(message ? cms::invalidTextParameter : cms::invalidIndex);
    return Reply::ok(readLines("+CMGR: ", *message));
}

Reply deleteMessage(Network &network, const AtCommand &command)
{
    ModemState &state = network.state();
    const ModemState::Place place = state.place(state.selected[0], command.number().value_or(-1));
    if (!place.store->isValidIndex(place.index))
        return Reply::cmsError(cms::invalidIndex);
    if (!state.keepsRemoved)
        place.store->remove(place.index);
    network.retrySoon();
    return Reply::ok();
}
} // namespace

void CommandTable::addStorage()
{
    addWithSim("+CPMS", selectStorage);
    addWithSim("+CMGL", listMessages);
    addWithSim("+CMGR", readMessage);
    addWithSim("+CMGD", deleteMessage);
}
} // namespace simulator
