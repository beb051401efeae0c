#include "simulator/controls/ControlCommands.h"

using namespace Qt::StringLiterals;

namespace simulator
{
namespace
{
constexpr int unknownError = 500;

int errorCode(ControlWords &words, int otherwise)
{
    return words.isEmpty() ? otherwise : words.number(u"code"_s, 0, 999);
}

QString status(Modem &modem)
{
    const MessageStore &sim = modem.state().store(Memory::Sim);
    const MessageStore &equipment = modem.state().store(Memory::Equipment);
    return u"line=%1 port=%2 sent=%3 refused=%4 SM=%5/%6 ME=%7/%8 waiting=%9 "_s
               .arg(modem.line().isPlugged() ? u"plugged"_s : u"unplugged"_s,
                    modem.line().isOpenedByPeer() ? u"open"_s : u"closed"_s)
               .arg(modem.submits().accepted())
               .arg(modem.submits().refused())
               .arg(sim.used())
               .arg(sim.capacity())
               .arg(equipment.used())
               .arg(equipment.capacity())
               .arg(modem.deliveries().waiting()) +
           u"octets-in=%1"_s.arg(modem.line().octetsIn());
}

void setSim(Modem &modem, ControlWords &words)
{
    Sim &sim = modem.state().sim;
    const int choice = words.choice({"busy", "starts", "gone", "back", "exchanged"});
    if (choice >= 2) {
        if (choice == 4)
            modem.state().exchangeSim();
        if (words.takeIf(u"silent"_s))
            sim.isMissing = choice == 2;
        else
            modem.setSimMissing(choice == 2);
    } else if (choice == 0) {
        sim.busyCommands = words.number(u"count"_s, 0, ControlWords::maxCount);
    } else {
        constexpr int starting = 515;
        sim.startsFor = words.milliseconds(u"milliseconds"_s);
        sim.startingCode = errorCode(words, starting);
    }
}

void addStartControls(ControlTable &controls, Modem &modem)
{
    ModemState &state = modem.state();
    controls.add(u"restart"_s, u"[silent]"_s,
                 u"settings are as at first while the line stays up; announced by its start lines, or not"_s,
                 [&modem](ControlWords &words) { modem.restart(!words.takeIf(u"silent"_s)); });
    controls.add(u"format"_s, u"0|1"_s, u"AT+CMGF after each start: 0 PDU mode, 1 text mode"_s,
                 [&state](ControlWords &words) {
                     state.settingsAtStart.messageFormat = words.number(u"format"_s, 0, 1);
                 });
    controls.add(
        u"echo"_s, u"on|off"_s, u"whether commands are echoed after the next start"_s,
        [&state](ControlWords &words) { state.settingsAtStart.format.echo = words.onOff() ? 1 : 0; });
}
} // namespace

void addStateControls(ControlTable &controls, Modem &modem)
{
    addStartControls(controls, modem);
    ModemState &state = modem.state();
    controls.add(u"status"_s, {}, u"what the modem is doing, in one line"_s,
                 [&modem](ControlWords &) { return status(modem); });
    controls.add(
        u"registered"_s, u"0..7"_s,
        u"network registration: 1 home, 5 roaming, 6 and 7 for SMS only, else none"_s,
        [&modem](ControlWords &words) { modem.setRegistration(words.number(u"registration"_s, 0, 7)); });
    controls.add(u"outage"_s, u"MS [CODE]"_s,
                 u"no network for MS: not registered, and sends are refused with CODE (500)"_s,
                 [&modem](ControlWords &words) {
                     const auto duration = words.milliseconds(u"milliseconds"_s);
                     modem.beginOutage(duration, errorCode(words, unknownError));
                 });
    controls.add(u"signal"_s, u"0..31|99"_s, u"signal quality of AT+CSQ"_s,
                 [&state](ControlWords &words) { state.signalQuality = words.number(u"signal"_s, 0, 99); });
    controls.add(u"pin"_s, u"required|ready"_s, u"the SIM wants a PIN, which it never gets, or is ready"_s,
                 [&modem](ControlWords &words) {
                     modem.setLocked(words.choice({"required", "ready"}) == 0);
                 });
    controls.add(u"sim"_s, u"busy N|starts MS [CODE]|gone|back|exchanged [silent]"_s,
                 u"the next N commands that need the SIM are refused as busy, or with CODE (515) for MS "
                 u"after a start; the "
                 "SIM is taken out, put in, or another one is"_s,
                 [&modem](ControlWords &words) { setSim(modem, words); });
    controls.add(u"identity"_s, u"MAKER|MODEL"_s, u"what AT+CGMI and +CGMM say"_s,
                 [&state](ControlWords &words) {
                     const QList<QByteArray> parts = words.escaped().split('|');
                     if (parts.size() != 2)
                         throw ControlError(u"MAKER|MODEL expected"_s);
                     state.identity = {parts[0], parts[1]};
                 });
    controls.add(u"cnmi"_s, u"RANGES"_s,
                 u"what AT+CNMI takes, as its test form: (0-2),(0,1),(0,2),(0,1),(0,1)"_s,
                 [&state](ControlWords &words) {
                     const auto ranges = NotificationRanges::fromText(words.word(u"ranges"_s).toLatin1());
                     if (!ranges)
                         throw ControlError(u"five lists as (0-2),(0,1),(0,2),(0,1),(0,1) expected"_s);
                     state.notificationRanges = *ranges;
                 });
}
} // namespace simulator
