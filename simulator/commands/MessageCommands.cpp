#include "simulator/commands/CommandTable.h"
#include "simulator/dialogue/ResultCodes.h"
#include "simulator/tpdu/GsmAlphabet.h"
#include "simulator/tpdu/TpduEncoder.h"

#include <algorithm>

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

Reply sendPdu(Network &network, int length, const QByteArray &body)
{
    if (const std::optional<QByteArray> pdu = pduFromBody(body, length))
        return network.submit(*pdu);
    network.state().say(
        u"refused a body that is no TPDU of %1 octets: %2"_s.arg(length).arg(QString::fromLatin1(body)));
    return Reply::cmsError(cms::invalidPduParameter);
}

Reply sendText(Network &network, const QString &number, const QByteArray &body)
{
    SubmitRecord record;
    record.tpdu.number = number;
    record.tpdu.text = textFromSeptets(body.left(longestText));
    return network.submit(record);
}

Reply send(Network &network, const AtCommand &command)
{
    if (network.state().isTextMode())
        return {.takeBody = [&network, number = command.parameters().value(0)](const QByteArray &body) {
            return sendText(network, QString::fromLatin1(number), body);
        }};
    const int length = command.number().value_or(0);
    if (length < 1 || length > maxTpduOctets)
        return Reply::cmsError(cms::invalidPduParameter);
    return {
        .takeBody = [&network, length](const QByteArray &body) { return sendPdu(network, length, body); }};
}

/// Whether values lie in the lists of such ranges: "(0-3),(0,1),(0,2),(0-2),(0,1)".
bool allows(QByteArray ranges, const QList<int> &values)
{
    const QByteArrayList lists = ranges.replace("),(", "|").replace('(', "").replace(')', "").split('|');
    for (qsizetype i = 0; i < values.size(); ++i) {
        const QByteArrayList items = lists.value(i).split(',');
        const auto isWithin = [value = values[i]](const QByteArray &item) {
            const QByteArrayList ends = item.split('-');
            return value >= ends.first().toInt() && value <= ends.last().toInt();
        };
        if (!std::ranges::any_of(items, isWithin))
            return false;
    }
    return true;
}

Reply setNotification(Network &network, const AtCommand &command)
{
    ModemState &state = network.state();
    if (command.isTest())
        return Reply::ok({command.name + ": " + state.notificationRanges});
    QList<int> wanted;
    for (qsizetype i = 0; i < command.parameters().size(); ++i)
        wanted += command.number(i).value_or(-1);
    constexpr qsizetype count = 5;
    if (wanted.size() > count)
        return Reply::cmsError(cms::notAllowed);
    wanted.resize(count);
    if (!allows(state.notificationRanges, wanted))
        return Reply::cmsError(cms::notSupported);
    state.settings.notification = wanted;
    return Reply::ok();
}

Reply serviceCentre(Network &network, const AtCommand &command)
{
    constexpr int international = 145;
    QString &centre = network.state().serviceCentre;
    if (command.isRead())
        return Reply::ok(
            {command.name + ": \"" + centre.toLatin1() + "\"," + (centre.startsWith(u'+') ? "145" : "129")});
    QString number = QString::fromLatin1(command.parameters().value(0));
    if (command.number(1) == international && !number.startsWith(u'+'))
        number.prepend(u'+');
    if (!isEncodableNumber(number))
        return Reply::cmsError(cms::invalidTextParameter);
    centre = number;
    return Reply::ok();
}
} // namespace

void CommandTable::addMessage()
{
    addSwitch("+CMGF", m_network.state().settings.messageFormat);
    addWithSim("+CSCA", serviceCentre);
    addWithSim("+CMGS", send);
    addWithSim("+CNMI", setNotification);
    add("+CSMS", [](Network &, const AtCommand &) { return Reply::ok({"+CSMS: 0,1,1,1"}); });
    add("+CNMA", [](Network &, const AtCommand &) { return Reply::ok(); });
}
} // namespace simulator
