#include "simulator/StorageCommands.h"

#include "simulator/MessageText.h"
#include "simulator/ResultCodes.h"

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

/// <stat> of a listing: one status or all (4 or "ALL"). Absent when it is neither.
struct StatusFilter {
    std::optional<MessageStatus> status;
};
std::optional<StatusFilter> statusFilter(const ModemState &state, const AtCommand &command)
{
    const QList<AtParameter> parameters = command.parameters();
    if (parameters.isEmpty())
        return StatusFilter{MessageStatus::ReceivedUnread};
    if (state.settings.messageFormat != textMode) {
        const std::optional<int> number = parameters[0].number();
        if (!number || *number > 4)
            return std::nullopt;
        return *number == 4 ? StatusFilter{} : StatusFilter{static_cast<MessageStatus>(*number)};
    }
    const QByteArray word = parameters[0].text.toUpper();
    if (word == "ALL")
        return StatusFilter{};
    for (int value = 0; value < 4; ++value) {
        if (word == statusWord(static_cast<MessageStatus>(value)))
            return StatusFilter{static_cast<MessageStatus>(value)};
    }
    return std::nullopt;
}

void markRead(StoredMessage &message)
{
    if (message.status == MessageStatus::ReceivedUnread)
        message.status = MessageStatus::ReceivedRead;
}

Reply listMessages(ModemState &state, const AtCommand &command)
{
    const bool isTextMode = state.settings.messageFormat == textMode;
    if (command.form == AtCommand::Form::Test)
        return Reply::ok({isTextMode ? R"(+CMGL: ("REC UNREAD","REC READ","STO UNSENT","STO SENT","ALL"))"
                                     : "+CMGL: (0-4)"});
    const std::optional<StatusFilter> filter = statusFilter(state, command);
    if (!filter)
        return Reply::cmsError(isTextMode ? cms::invalidTextParameter : cms::invalidPduParameter);
    Reply reply;
    for (const auto &[index, message] : state.messages(state.selected[0])) {
        if (filter->status && *filter->status != message->status)
            continue;
        reply.lines += listLines(state, index, *message);
        markRead(*message);
    }
    return reply;
}

Reply readMessage(ModemState &state, const AtCommand &command)
{
    if (command.form == AtCommand::Form::Test)
        return Reply::ok();
    const std::optional<int> index = numberAt(command.parameters(), 0);
    const ModemState::Place place = state.place(state.selected[0], index.value_or(-1));
    StoredMessage *message = place.store->find(place.index);
    if (!message)
        return Reply::cmsError(cms::invalidIndex);
    Reply reply = Reply::ok(readLines(state, *message));
    markRead(*message);
    return reply;
}

bool isDeletedBy(int deleteFlag, MessageStatus status)
{
    // 3.5.4: 1 read, 2 and sent, 3 and unsent, 4 all.
    switch (status) {
    case MessageStatus::ReceivedRead:
        return true;
    case MessageStatus::StoredSent:
        return deleteFlag >= 2;
    case MessageStatus::StoredUnsent:
        return deleteFlag >= 3;
    case MessageStatus::ReceivedUnread:
        return deleteFlag >= 4;
    }
    Q_UNREACHABLE();
}

Reply deleteMessage(ModemState &state, DeliverService &deliveries, const AtCommand &command)
{
    if (command.form == AtCommand::Form::Test) {
        QByteArrayList indexes;
        for (const auto &[index, message] : state.messages(state.selected[0]))
            indexes += QByteArray::number(index);
        return Reply::ok({"+CMGD: (" + indexes.join(',') + "),(0-4)"});
    }
    const QList<AtParameter> parameters = command.parameters();
    const std::optional<int> index = numberAt(parameters, 0);
    const std::optional<int> flag = parameters.size() > 1 ? numberAt(parameters, 1) : 0;
    if (!index || !flag || *flag > 4)
        return Reply::cmsError(cms::invalidPduParameter);
    const ModemState::Place place = state.place(state.selected[0], *index);
    if (*flag == 0 && !place.store->isValidIndex(place.index))
        return Reply::cmsError(cms::invalidIndex);
    if (state.keepsRemoved)
        return Reply::ok();
    for (const auto &[number, message] : state.messages(state.selected[0])) {
        const ModemState::Place entry = state.place(state.selected[0], number);
        if (*flag > 0 ? isDeletedBy(*flag, message->status) : number == *index)
            entry.store->remove(entry.index);
    }
    deliveries.retrySoon();
    return Reply::ok();
}
} // namespace

void addStorageCommands(CommandTable &table, ModemState &state, DeliverService &deliveries)
{
    const auto addWithSim = [&table, &state](const QByteArray &name, const CommandTable::Handler &handler) {
        table.add(name, withSim(state, handler));
    };
    addWithSim("+CPMS", [&state](const AtCommand &command) { return selectStorage(state, command); });
    addWithSim("+CMGL", [&state](const AtCommand &command) { return listMessages(state, command); });
    addWithSim("+CMGR", [&state](const AtCommand &command) { return readMessage(state, command); });
    addWithSim("+CMGD", [&state, &deliveries](const AtCommand &command) {
        return deleteMessage(state, deliveries, command);
    });
}
} // namespace simulator
