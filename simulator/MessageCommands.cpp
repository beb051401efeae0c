#include "simulator/MessageCommands.h"

#include "simulator/MessageText.h"
#include "simulator/ResultCodes.h"
#include "simulator/TpduEncoder.h"

using namespace Qt::StringLiterals;

namespace simulator
{
namespace
{
constexpr int maxTpduOctets = 164; ///< a submit with the longest address, validity period and user data

/// What a modem in text mode sends of a longer text.
constexpr qsizetype longestText = 160;

using Body = std::function<Reply(const QByteArray &pdu)>;

Reply rangeCommand(const AtCommand &command, int &value, int max)
{
    const std::optional<int> wanted = numberAt(command.parameters(), 0);
    switch (command.form) {
    case AtCommand::Form::Test:
        return Reply::ok({command.name + ": (0-" + QByteArray::number(max) + ')'});
    case AtCommand::Form::Read:
        return Reply::ok({command.name + ": " + QByteArray::number(value)});
    case AtCommand::Form::Execute:
        value = 0;
        return Reply::ok();
    case AtCommand::Form::Set:
        if (!wanted || *wanted > max)
            return Reply::cmsError(cms::notAllowed);
        value = *wanted;
        return Reply::ok();
    }
    Q_UNREACHABLE();
}

/// The octets of a PDU-mode body; absent when it is not hexadecimal or not of the announced length.
std::optional<QByteArray> pduFromBody(const QByteArray &body, int length)
{
    const QByteArray hex = body.trimmed();
    const QByteArray octets = QByteArray::fromHex(hex);
    if (octets.isEmpty() || octets.toHex() != hex.toLower())
        return std::nullopt;
    if (static_cast<unsigned char>(octets[0]) >= octets.size() || tpduLength(octets) != length)
        return std::nullopt;
    return octets;
}

/// Prompts for a message and hands its octets to use: in PDU mode as typed, in text mode made from the text.
Reply promptForMessage(ModemState &state, const AtCommand &command, const Body &use)
{
    const QList<AtParameter> parameters = command.parameters();
    Reply reply;
    if (state.settings.messageFormat != textMode) {
        const std::optional<int> length = numberAt(parameters, 0);
        if (!length || *length < 1 || *length > maxTpduOctets)
            return Reply::cmsError(cms::invalidPduParameter);
        reply.takeBody = [&state, use, length = *length](const QByteArray &body) {
            const std::optional<QByteArray> pdu = pduFromBody(body, length);
            if (pdu)
                return use(*pdu);
            state.say(u"refused a body that is no TPDU of %1 octets: %2"_s.arg(length).arg(
                QString::fromLatin1(body)));
            return Reply::cmsError(cms::invalidPduParameter);
        };
        return reply;
    }
    const QString number = parameters.isEmpty() ? QString() : QString::fromLatin1(parameters[0].text);
    if (!isEncodableNumber(number))
        return Reply::cmsError(cms::invalidTextParameter);
    reply.bodyHasLines = true;
    reply.takeBody = [&state, use, number](const QByteArray &body) {
        const std::optional<QString> text = textFromCharacterSet(state.settings.characterSet, body);
        const std::optional<QByteArray> pdu =
            text ? encodeSubmit(number, text->left(longestText), state.settings.textParameters[2],
                                state.settings.textParameters[3])
                 : std::nullopt;
        return pdu ? use(*pdu) : Reply::cmsError(cms::invalidTextParameter);
    };
    return reply;
}

Reply writeMessage(ModemState &state, const AtCommand &command)
{
    const std::optional<int> status = numberAt(command.parameters(), 1);
    return promptForMessage(state, command, [&state, status](const QByteArray &pdu) {
        const auto stored = static_cast<MessageStatus>(qBound(0, status.value_or(2), 3));
        const std::optional<int> index = state.add(state.selected[1], stored, pdu);
        return index ? Reply::ok({"+CMGW: " + QByteArray::number(*index)}) : Reply::cmsError(cms::memoryFull);
    });
}

Reply sendStored(ModemState &state, SubmitService &submits, const AtCommand &command)
{
    if (command.form == AtCommand::Form::Test)
        return Reply::ok();
    const std::optional<int> index = numberAt(command.parameters(), 0);
    const ModemState::Place place = state.place(state.selected[1], index.value_or(-1));
    StoredMessage *message = place.store->find(place.index);
    if (!message || message->status == MessageStatus::ReceivedUnread ||
        message->status == MessageStatus::ReceivedRead)
        return Reply::cmsError(cms::invalidIndex);
    Reply reply = submits.submit(message->pdu, "+CMSS: ");
    if (reply.final == Reply::Final::Ok)
        message->status = MessageStatus::StoredSent;
    return reply;
}

Reply setNotification(ModemState &state, DeliverService &deliveries, const AtCommand &command)
{
    std::array<int, 5> &setting = state.settings.notification;
    if (command.form == AtCommand::Form::Test)
        return Reply::ok({"+CNMI: " + state.notificationRanges.text()});
    if (command.form == AtCommand::Form::Read) {
        QByteArrayList values;
        for (const int value : setting)
            values += QByteArray::number(value);
        return Reply::ok({"+CNMI: " + values.join(',')});
    }
    const QList<AtParameter> parameters = command.parameters();
    std::array<int, 5> wanted{0, 0, 0, 0, 0};
    if (parameters.size() > static_cast<qsizetype>(wanted.size()))
        return Reply::cmsError(cms::notAllowed);
    for (qsizetype i = 0; i < parameters.size(); ++i) {
        if (!parameters[i].isEmpty())
            wanted.at(static_cast<size_t>(i)) = parameters[i].number().value_or(-1);
    }
    if (!state.notificationRanges.allows(wanted))
        return Reply::cmsError(cms::notSupported);
    setting = wanted;
    deliveries.notificationModeChanged();
    return Reply::ok();
}

Reply serviceCentre(ModemState &state, const AtCommand &command)
{
    if (command.form == AtCommand::Form::Test)
        return Reply::ok();
    if (command.form == AtCommand::Form::Read)
        return Reply::ok({"+CSCA: \"" + state.serviceCentre.toLatin1() + "\"," +
                          (state.serviceCentre.startsWith(u'+') ? "145" : "129")});
    const QList<AtParameter> parameters = command.parameters();
    QString number = parameters.isEmpty() ? QString() : QString::fromLatin1(parameters[0].text);
    if (numberAt(parameters, 1) == 145 && !number.startsWith(u'+'))
        number.prepend(u'+');
    if (!isEncodableNumber(number))
        return Reply::cmsError(cms::invalidTextParameter);
    state.serviceCentre = number;
    return Reply::ok();
}

Reply messageService(ModemState &state, const AtCommand &command)
{
    if (command.form == AtCommand::Form::Test)
        return Reply::ok({"+CSMS: (0,1)"});
    if (command.form == AtCommand::Form::Read)
        return Reply::ok({"+CSMS: " + QByteArray::number(state.settings.messageService) + ",1,1,1"});
    const std::optional<int> wanted = numberAt(command.parameters(), 0);
    if (!wanted || *wanted > 1)
        return Reply::cmsError(cms::notSupported);
    state.settings.messageService = *wanted;
    return Reply::ok({"+CSMS: 1,1,1"});
}

Reply textParameters(ModemState &state, const AtCommand &command)
{
    std::array<int, 4> &values = state.settings.textParameters;
    if (command.form == AtCommand::Form::Test)
        return Reply::ok();
    if (command.form == AtCommand::Form::Read) {
        QByteArrayList texts;
        for (const int value : values)
            texts += QByteArray::number(value);
        return Reply::ok({"+CSMP: " + texts.join(',')});
    }
    const QList<AtParameter> parameters = command.parameters();
    std::array<int, 4> wanted = values;
    if (parameters.size() > static_cast<qsizetype>(wanted.size()))
        return Reply::cmsError(cms::invalidTextParameter);
    for (qsizetype i = 0; i < parameters.size(); ++i) {
        if (!parameters[i].isEmpty())
            wanted.at(static_cast<size_t>(i)) = parameters[i].number().value_or(256);
    }
    if (*std::max_element(wanted.begin(), wanted.end()) > 255)
        return Reply::cmsError(cms::invalidTextParameter);
    values = wanted;
    return Reply::ok();
}
} // namespace

void addMessageCommands(CommandTable &table, ModemState &state, SubmitService &submits,
                        DeliverService &deliveries)
{
    const auto ranged = [&table](const QByteArray &name, int &value, int max) {
        table.add(name,
                  [&value, max](const AtCommand &command) { return rangeCommand(command, value, max); });
    };
    ranged("+CMGF", state.settings.messageFormat, 1);
    ranged("+CMMS", state.settings.moreMessages, 2);
    ranged("+CSDH", state.settings.showHeaders, 1);
    table.add("+CSMS", [&state](const AtCommand &command) { return messageService(state, command); });
    table.add("+CSMP", [&state](const AtCommand &command) { return textParameters(state, command); });
    const auto addWithSim = [&table, &state](const QByteArray &name, const CommandTable::Handler &handler) {
        table.add(name, withSim(state, handler));
    };
    addWithSim("+CSCA", [&state](const AtCommand &command) { return serviceCentre(state, command); });
    addWithSim("+CMGW", [&state](const AtCommand &command) {
        return command.form == AtCommand::Form::Test ? Reply::ok() : writeMessage(state, command);
    });
    addWithSim("+CMSS",
               [&state, &submits](const AtCommand &command) { return sendStored(state, submits, command); });
    addWithSim("+CMGS", [&state, &submits](const AtCommand &command) {
        if (command.form == AtCommand::Form::Test)
            return Reply::ok();
        Reply reply = promptForMessage(
            state, command, [&submits](const QByteArray &pdu) { return submits.submit(pdu, "+CMGS: "); });
        reply.withoutPrompt = reply.takeBody && state.sendScript.takeMutedPrompt();
        return reply;
    });
    addWithSim("+CNMI", [&state, &deliveries](const AtCommand &command) {
        return setNotification(state, deliveries, command);
    });
    table.add("+CNMA", [&deliveries](const AtCommand &command) {
        if (command.form == AtCommand::Form::Test)
            return Reply::ok({"+CNMA: (0-2)"});
        return deliveries.acknowledge() ? Reply::ok() : Reply::cmsError(cms::noAcknowledgementExpected);
    });
}
} // namespace simulator
