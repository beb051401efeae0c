#include "simulator/commands/CommandTable.h"
#include "simulator/dialogue/ResultCodes.h"

namespace simulator
{
namespace
{
Reply nothing(Network &, const AtCommand &)
{
    return Reply::ok();
}

/// A PIN is taken by nothing here: programs must not guess one.
Reply pinState(Network &network, const AtCommand &command)
{
    const std::optional<int> refusal = network.state().simRefusal();
    if (refusal && refusal != cme::simPinRequired)
        return Reply::cmeError(*refusal);
    if (!command.isRead())
        return Reply::cmeError(cme::notAllowed);
    return Reply::ok({refusal ? "+CPIN: SIM PIN" : "+CPIN: READY"});
}

Reply cardNumber(Network &network, const AtCommand &command)
{
    const Sim &sim = network.state().sim;
    return sim.isMissing ? Reply::cmeError(cme::simNotInserted)
                         : Reply::ok({command.name + ": " + sim.iccid});
}

Reply operatorName(Network &network, const AtCommand &command)
{
    const QByteArray name = network.state().isRegistered() ? ",0,\"Simulated network\"" : "";
    return Reply::ok({command.name + ": 0" + name});
}

Reply registration(Network &network, const AtCommand &command)
{
    const ModemState &state = network.state();
    constexpr int searching = 2;
    const int status = state.sim.pinRequired || state.sim.isMissing ? 0
                       : state.outages > 0                          ? searching
                                                                    : state.registration;
    return Reply::ok({command.name + ": 0," + QByteArray::number(status)});
}

Reply signalQuality(Network &network, const AtCommand &command)
{
    const int quality = network.state().isRegistered() ? network.state().signalQuality : 99;
    return Reply::ok({command.name + ": " + QByteArray::number(quality) + ",99"});
}
} // namespace

void CommandTable::addGeneral()
{
    addSwitch("E", m_network.state().settings.format.echo);
    addSwitch("+CMEE", m_network.state().settings.format.errorNumbers);
    for (const char *name : {"", "Q", "V", "+CSCS", "+CMMS"})
        add(name, nothing);
    add("+CGMI", [](Network &network, const AtCommand &) { return Reply::ok({network.state().maker}); });
    add("+CGMM", [](Network &network, const AtCommand &) { return Reply::ok({network.state().model}); });
    add("+CGSN", [](Network &, const AtCommand &) { return Reply::ok({"350000000000006"}); });
    add("+CCID", cardNumber);
    add("+COPS", operatorName);
    add("+CPIN", pinState);
    for (const char *name : {"+CREG", "+CGREG", "+CEREG"})
        add(name, registration);
    add("+CSQ", signalQuality);
}
} // namespace simulator
