#include "simulator/GeneralCommands.h"

#include "simulator/ResultCodes.h"

#include <QDateTime>

using namespace Qt::StringLiterals;

namespace simulator
{
namespace
{
constexpr const char *identityNumber = "490154203237518";   // IMEI with a right check digit
constexpr const char *subscriberNumber = "460001234567890"; // IMSI

/// The number of a basic command: absent digits mean 0 (V.250, 5.3.1).
int basicNumber(const AtCommand &command)
{
    return command.argument.toInt();
}

/// A command that sets one number of a range, with read and test forms.
CommandTable::Handler numberCommand(int &value, int max, int wrongCode = cme::invalidParameters)
{
    return [&value, max, wrongCode](const AtCommand &command) {
        switch (command.form) {
        case AtCommand::Form::Test:
            return Reply::ok({command.name + ": (0-" + QByteArray::number(max) + ')'});
        case AtCommand::Form::Read:
            return Reply::ok({command.name + ": " + QByteArray::number(value)});
        case AtCommand::Form::Execute:
            value = 0;
            return Reply::ok();
        case AtCommand::Form::Set:
            break;
        }
        const QList<AtParameter> parameters = command.parameters();
        const std::optional<int> wanted =
            parameters.size() == 1 ? parameters[0].number() : std::optional<int>();
        if (!wanted || *wanted > max)
            return Reply::cmeError(wrongCode);
        value = *wanted;
        return Reply::ok();
    };
}

/// A basic command with the values 0 and 1.
CommandTable::Handler switchCommand(bool &value, bool inverted = false)
{
    return [&value, inverted](const AtCommand &command) {
        const int number = basicNumber(command);
        if (number > 1)
            return Reply::error();
        value = (number == 1) != inverted;
        return Reply::ok();
    };
}

Reply accepted(const AtCommand &)
{
    return Reply::ok();
}

Reply tell(const AtCommand &command, const QByteArray &text)
{
    return command.form == AtCommand::Form::Set    ? Reply::error()
           : command.form == AtCommand::Form::Test ? Reply::ok()
                                                   : Reply::ok({text});
}

CommandTable::Handler constant(const QByteArray &text)
{
    return [text](const AtCommand &command) { return tell(command, text); };
}

CommandTable::Handler telling(const QByteArray &field)
{
    return [&field](const AtCommand &command) { return tell(command, field); };
}

void addFormat(CommandTable &table, ModemState &state)
{
    ResultFormat &format = state.settings.format;
    table.add("", accepted);
    table.add("E", switchCommand(format.echo));
    table.add("V", switchCommand(format.verbose));
    table.add("Q", switchCommand(format.quiet));
    table.add("+CMEE", numberCommand(format.errorLevel, 2));
    const auto restore = [&state](const AtCommand &) {
        restoreSettings(state);
        return Reply::ok();
    };
    table.add("Z", restore);
    table.add("&F", restore);
    for (const char *name : {"X", "L", "M", "H", "P", "T", "S", "&C", "&D", "&K", "&S", "&W"})
        table.add(name, accepted);
    const auto noCarrier = [](const AtCommand &) {
        return Reply{.lines = {}, .final = Reply::Final::NoCarrier};
    };
    table.add("D", noCarrier);
    table.add("A", noCarrier);
}

void addIdentity(CommandTable &table, const ModemState &state)
{
    const Identity &identity = state.identity;
    table.add("I", [&identity](const AtCommand &) {
        return Reply::ok({identity.maker, identity.model, "Revision: " + identity.revision});
    });
    for (const QByteArray prefix : {"+C", "+"}) {
        table.add(prefix + "GMI", telling(identity.maker));
        table.add(prefix + "GMM", telling(identity.model));
        table.add(prefix + "GMR", telling(identity.revision));
        table.add(prefix + "GSN", constant(identityNumber));
    }
    table.add("+GCAP", constant("+GCAP: +CGSM"));
    table.add("+CLAC", [&table](const AtCommand &) {
        QByteArrayList names;
        for (const QByteArray &name : table.names()) {
            if (!name.isEmpty())
                names += "AT" + name;
        }
        return Reply::ok(names);
    });
}

Reply enterPin(ModemState &state, const AtCommand &command)
{
    const QList<AtParameter> parameters = command.parameters();
    if (!state.sim.isLocked())
        return Reply::cmeError(cme::notAllowed);
    if (state.sim.needsPuk())
        return Reply::cmeError(cme::simPukRequired);
    if (parameters.isEmpty() || parameters[0].text != state.sim.pin) {
        --state.sim.pinAttempts;
        state.say(u"wrong PIN, %1 attempts left"_s.arg(state.sim.pinAttempts));
        return Reply::cmeError(cme::incorrectPassword);
    }
    state.sim.pinRequired = false;
    state.sim.pinAttempts = 3;
    return Reply::ok();
}

void addSim(CommandTable &table, ModemState &state, const std::function<void()> &networkUsable)
{
    table.add("+CPIN", [&state, networkUsable](const AtCommand &command) {
        if (command.form == AtCommand::Form::Test)
            return Reply::ok();
        if (!state.sim.starting.hasExpired())
            return Reply::cmeError(state.sim.startingCode);
        if (state.sim.busyCommands > 0) {
            --state.sim.busyCommands;
            return Reply::cmeError(cme::simBusy);
        }
        if (command.form == AtCommand::Form::Read) {
            const char *word = state.sim.needsPuk() ? "SIM PUK" : state.sim.isLocked() ? "SIM PIN" : "READY";
            return Reply::ok({QByteArray("+CPIN: ") + word});
        }
        Reply reply = enterPin(state, command);
        networkUsable();
        return reply;
    });
    table.add("+CIMI", [&state](const AtCommand &command) {
        if (command.form == AtCommand::Form::Test)
            return Reply::ok();
        if (state.sim.isLocked())
            return Reply::cmeError(state.sim.needsPuk() ? cme::simPukRequired : cme::simPinRequired);
        if (state.takeSimRefusal())
            return Reply::cmeError(cme::simBusy);
        return Reply::ok({subscriberNumber});
    });
}

CommandTable::Handler registrationCommand(ModemState &state, int &reports)
{
    return [&state, &reports, number = numberCommand(reports, 2)](const AtCommand &command) {
        if (command.form != AtCommand::Form::Read)
            return number(command);
        const bool searching = state.functionality != 1 || state.sim.isLocked();
        return Reply::ok({command.name + ": " + QByteArray::number(reports) + ',' +
                          QByteArray::number(searching ? 0 : state.registration)});
    };
}

Reply operatorCommand(ModemState &state, const AtCommand &command)
{
    switch (command.form) {
    case AtCommand::Form::Test:
        return Reply::ok({R"(+COPS: (2,"Simulated network","Simulated","46000"),,(0-4),(0-2))"});
    case AtCommand::Form::Read: {
        if (!state.isRegistered())
            return Reply::ok({"+COPS: 0"});
        constexpr std::array<const char *, 3> names{"Simulated network", "Simulated", "46000"};
        const auto format = static_cast<size_t>(state.settings.operatorFormat);
        return Reply::ok({"+COPS: 0," + QByteArray::number(state.settings.operatorFormat) + ",\"" +
                          names.at(format) + '"'});
    }
    case AtCommand::Form::Execute:
        return Reply::ok();
    case AtCommand::Form::Set:
        break;
    }
    const QList<AtParameter> parameters = command.parameters();
    const std::optional<int> mode = parameters[0].number();
    const std::optional<int> format =
        parameters.size() > 1 ? parameters[1].number() : std::optional(state.settings.operatorFormat);
    if (!mode || *mode > 4 || !format || *format > 2)
        return Reply::cmeError(cme::invalidParameters);
    state.settings.operatorFormat = *format;
    return Reply::ok();
}

Reply clockCommand(const AtCommand &command)
{
    if (command.form == AtCommand::Form::Test)
        return Reply::ok();
    if (command.form != AtCommand::Form::Read)
        return Reply::cmeError(cme::notSupported);
    const QDateTime now = QDateTime::currentDateTime();
    const int quarters = now.offsetFromUtc() / (15 * 60);
    return Reply::ok({"+CCLK: \"" + now.toString(u"yy/MM/dd,hh:mm:ss"_s).toLatin1() +
                      (quarters < 0 ? '-' : '+') + QByteArray::number(qAbs(quarters)).rightJustified(2, '0') +
                      '"'});
}

void addNetwork(CommandTable &table, ModemState &state, const std::function<void()> &networkUsable)
{
    Settings &settings = state.settings;
    table.add("+CREG", registrationCommand(state, settings.registrationReports[0]));
    table.add("+CGREG", registrationCommand(state, settings.registrationReports[1]));
    table.add("+CEREG", registrationCommand(state, settings.registrationReports[2]));
    table.add("+CSQ", [&state](const AtCommand &command) {
        if (command.form == AtCommand::Form::Test)
            return Reply::ok({"+CSQ: (0-31,99),(99)"});
        const int quality = state.isRegistered() && state.functionality == 1 ? state.signalQuality : 99;
        return Reply::ok({"+CSQ: " + QByteArray::number(quality) + ",99"});
    });
    table.add("+COPS", [&state](const AtCommand &command) { return operatorCommand(state, command); });
    table.add("+CFUN", [&state, networkUsable](const AtCommand &command) {
        if (command.form == AtCommand::Form::Test)
            return Reply::ok({"+CFUN: (0,1,4),(0,1)"});
        if (command.form == AtCommand::Form::Read)
            return Reply::ok({"+CFUN: " + QByteArray::number(state.functionality)});
        const QList<AtParameter> parameters = command.parameters();
        const std::optional<int> wanted = parameters.isEmpty() ? std::nullopt : parameters[0].number();
        if (!wanted || (*wanted != 0 && *wanted != 1 && *wanted != 4))
            return Reply::cmeError(cme::invalidParameters);
        state.functionality = *wanted;
        networkUsable();
        return Reply::ok();
    });
    table.add("+CPAS", constant("+CPAS: 0"));
    table.add("+CCLK", clockCommand);
    table.add("+CSCS", [&settings](const AtCommand &command) {
        if (command.form == AtCommand::Form::Test)
            return Reply::ok({R"(+CSCS: ("GSM","IRA","UCS2"))"});
        if (command.form == AtCommand::Form::Read)
            return Reply::ok({"+CSCS: \"" + settings.characterSet + '"'});
        const QList<AtParameter> parameters = command.parameters();
        const QByteArray wanted = parameters.isEmpty() ? QByteArray() : parameters[0].text.toUpper();
        if (wanted != "GSM" && wanted != "IRA" && wanted != "UCS2")
            return Reply::cmeError(cme::notSupported);
        settings.characterSet = wanted;
        return Reply::ok();
    });
}
} // namespace

void restoreSettings(ModemState &state)
{
    state.settings = Settings{};
    state.settings.format.echo = state.echoAtStart;
    state.settings.messageFormat = state.formatAtStart;
}

void addGeneralCommands(CommandTable &table, ModemState &state, const std::function<void()> &networkUsable)
{
    addFormat(table, state);
    addIdentity(table, state);
    addSim(table, state, networkUsable);
    addNetwork(table, state, networkUsable);
}
} // namespace simulator
