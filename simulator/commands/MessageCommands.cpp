#include "simulator/commands/MessageCommands.h"

#include "simulator/dialogue/ResultCodes.h"
#include "simulator/tpdu/GsmAlphabet.h"
#include "simulator/tpdu/TpduEncoder.h"

using namespace Qt::StringLiterals;

namespace simulator
{
namespace
{
constexpr int maxTpduOctets = 164; ///< a submit with the longest address, validity period and user data

/// What a modem in text mode sends of a longer text.
constexpr qsizetype longestText = 160;

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

Reply sendInPduMode(ModemState &state, SubmitService &submits, int length)
{
    return {.takeBody = [&state, &submits, length](const QByteArray &body) {
        if (const std::optional<QByteArray> pdu = pduFromBody(body, length))
            return submits.submit(*pdu);
        state.say(
            u"refused a body that is no TPDU of %1 octets: %2"_s.arg(length).arg(QString::fromLatin1(body)));
        return Reply::cmsError(cms::invalidPduParameter);
    }};
}

Reply sendInTextMode(SubmitService &submits, const QString &number)
{
    return {.takeBody = [&submits, number](const QByteArray &body) {
        const std::optional<QByteArray> pdu = encodeSubmit(number, textFromSeptets(body.left(longestText)));
        return pdu ? submits.submit(*pdu) : Reply::cmsError(cms::invalidTextParameter);
    }};
}

Reply send(ModemState &state, SubmitService &submits, const AtCommand &command)
{
    const QList<AtParameter> parameters = command.parameters();
    const int length = command.number().value_or(0);
    Reply reply;
    if (state.isTextMode())
        reply = sendInTextMode(submits,
                               parameters.isEmpty() ? QString() : QString::fromLatin1(parameters[0].text));
    else if (length < 1 || length > maxTpduOctets)
        return Reply::cmsError(cms::invalidPduParameter);
    else
        reply = sendInPduMode(state, submits, length);
    reply.withoutPrompt = state.sendScript.takeMutedPrompt();
    return reply;
}

Reply setNotification(ModemState &state, const AtCommand &command)
{
    if (command.form == AtCommand::Form::Test)
        return Reply::ok({"+CNMI: " + state.notificationRanges.text()});
    const QList<AtParameter> parameters = command.parameters();
    std::array<int, 5> wanted{0, 0, 0, 0, 0};
    if (parameters.size() > static_cast<qsizetype>(wanted.size()))
        return Reply::cmsError(cms::notAllowed);
    for (qsizetype i = 0; i < parameters.size(); ++i)
        wanted.at(static_cast<size_t>(i)) = parameters[i].number().value_or(-1);
    if (!state.notificationRanges.allows(wanted))
        return Reply::cmsError(cms::notSupported);
    state.settings.notification = wanted;
    return Reply::ok();
}

Reply serviceCentre(ModemState &state, const AtCommand &command)
{
    if (command.form == AtCommand::Form::Read)
        return Reply::ok({"+CSCA: \"" + state.serviceCentre.toLatin1() + "\"," +
                          (state.serviceCentre.startsWith(u'+') ? "145" : "129")});
    const QList<AtParameter> parameters = command.parameters();
    QString number = parameters.isEmpty() ? QString() : QString::fromLatin1(parameters[0].text);
    if (command.number(1) == 145 && !number.startsWith(u'+'))
        number.prepend(u'+');
    if (!isEncodableNumber(number))
        return Reply::cmsError(cms::invalidTextParameter);
    state.serviceCentre = number;
    return Reply::ok();
}
} // namespace

void addMessageCommands(CommandTable &table, ModemState &state, SubmitService &submits)
{
    table.addNumber("+CMGF", state.settings.messageFormat, 1);
    table.addWithSim("+CSCA", state,
                     [&state](const AtCommand &command) { return serviceCentre(state, command); });
    table.addWithSim("+CMGS", state,
                     [&state, &submits](const AtCommand &command) { return send(state, submits, command); });
    table.addWithSim("+CNMI", state,
                     [&state](const AtCommand &command) { return setNotification(state, command); });
    table.add("+CSMS", [](const AtCommand &) { return Reply::ok({"+CSMS: 0,1,1,1"}); });
    table.add("+CNMA", [](const AtCommand &) { return Reply::ok(); });
}
} // namespace simulator
