#include "simulator/commands/GeneralCommands.h"

#include "simulator/dialogue/ResultCodes.h"

namespace simulator
{
namespace
{
/// A PIN is taken by nothing here: programs must not guess one.
Reply pinState(ModemState &state, const AtCommand &command)
{
    if (state.sim.isMissing)
        return Reply::cmeError(cme::simNotInserted);
    if (!state.sim.starting.hasExpired())
        return Reply::cmeError(state.sim.startingCode);
    if (state.sim.busyCommands > 0) {
        --state.sim.busyCommands;
        return Reply::cmeError(cme::simBusy);
    }
    if (command.form != AtCommand::Form::Read)
        return Reply::cmeError(cme::notAllowed);
    return Reply::ok({state.sim.pinRequired ? "+CPIN: SIM PIN" : "+CPIN: READY"});
}
} // namespace

void addGeneralCommands(CommandTable &table, ModemState &state)
{
    table.addNumber("E", state.settings.format.echo, 1);
    table.addNumber("+CMEE", state.settings.format.errorNumbers, 1);
    for (const char *name : {"", "Q", "V", "+CSCS", "+CMMS"})
        table.add(name, [](const AtCommand &) { return Reply::ok(); });
    table.add("+CGMI", [&state](const AtCommand &) { return Reply::ok({state.identity.maker}); });
    table.add("+CGMM", [&state](const AtCommand &) { return Reply::ok({state.identity.model}); });
    table.add("+CGSN", [&state](const AtCommand &) { return Reply::ok({state.identity.imei}); });
    table.add("+CCID", [&state](const AtCommand &command) {
        return state.sim.isMissing ? Reply::cmeError(cme::simNotInserted)
                                   : Reply::ok({command.name + ": " + state.sim.iccid});
    });
    table.add("+COPS", [&state](const AtCommand &command) {
        return Reply::ok({command.name + ": 0" +
                          (state.isRegistered() ? ",0,\"" + state.identity.network + '"' : QByteArray())});
    });
    table.add("+CPIN", [&state](const AtCommand &command) { return pinState(state, command); });
    for (const char *name : {"+CREG", "+CGREG", "+CEREG"}) {
        table.add(name, [&state](const AtCommand &command) {
            const int status = state.sim.pinRequired || state.sim.isMissing ? 0 : state.registration;
            return Reply::ok({command.name + ": 0," + QByteArray::number(status)});
        });
    }
    table.add("+CSQ", [&state](const AtCommand &) {
        const int quality = state.isRegistered() ? state.signalQuality : 99;
        return Reply::ok({"+CSQ: " + QByteArray::number(quality) + ",99"});
    });
}
} // namespace simulator
