#include "simulator/controls/Controls.h"

using namespace Qt::StringLiterals;

namespace simulator
{
namespace
{
void status(Modem &modem, ControlWords &words)
{
    const MessageStore &sim = modem.state().store(Memory::Sim);
    const MessageStore &equipment = modem.state().store(Memory::Equipment);
    words.answer(u"line=%1 port=%2 sent=%3 refused=%4 SM=%5/%6 ME=%7/%8 waiting=%9 "_s
                     .arg(modem.line().isPlugged() ? u"plugged"_s : u"unplugged"_s,
                          modem.line().isOpenedByPeer() ? u"open"_s : u"closed"_s)
                     .arg(modem.network().accepted())
                     .arg(modem.network().refused())
                     .arg(sim.used())
                     .arg(sim.capacity)
                     .arg(equipment.used())
                     .arg(equipment.capacity)
                     .arg(modem.network().waiting()) +
                 u"octets-in=%1"_s.arg(modem.line().octetsIn()));
}

void changeSim(Modem &modem, ControlWords &words)
{
    Sim &sim = modem.state().sim;
    const int change = words.choice({u"starts"_s, u"gone"_s, u"back"_s, u"exchanged"_s});
    if (change == 0) {
        sim.startsFor = words.milliseconds();
        sim.startingCode = words.isEmpty() ? sim.startingCode : words.number(0, 999);
        return;
    }
    sim.isMissing = change == 1;
    if (change == 3)
        modem.state().exchangeSim();
    if (!words.takeIf(u"silent"_s))
        modem.session().sendUnsolicited({sim.isMissing ? "+CPIN: NOT INSERTED" : "+CPIN: READY"});
}

void setIdentity(Modem &modem, ControlWords &words)
{
    const QByteArrayList parts = words.escaped().split('|');
    if (parts.size() != 2)
        throw ControlError(u"MAKER|MODEL expected"_s);
    modem.state().maker = parts[0];
    modem.state().model = parts[1];
}

void setNotificationRanges(Modem &modem, ControlWords &words)
{
    const QByteArray ranges = words.word(u"a list of ranges"_s).toLatin1();
    if (ranges.count('(') != 5)
        throw ControlError(u"five lists as (0-2),(0,1),(0,2),(0,1),(0,1) expected"_s);
    modem.state().notificationRanges = ranges;
}
} // namespace

QList<Control> stateControls()
{
    return {
        {u"status"_s, u"what the modem is doing, in one line"_s, status},
        {u"format 0|1"_s, u"AT+CMGF after each start: 0 PDU mode, 1 text mode"_s,
         [](Modem &modem, ControlWords &words) {
             modem.state().settingsAtStart.messageFormat = words.number(0, 1);
         }},
        {u"echo on|off"_s, u"whether commands are echoed after the next start"_s,
         [](Modem &modem, ControlWords &words) {
             modem.state().settingsAtStart.format.echo = words.onOff() ? 1 : 0;
         }},
        {u"registered 0..7"_s, u"network registration: 1 home, 5 roaming, 6 and 7 for SMS only, else none"_s,
         [](Modem &modem, ControlWords &words) { modem.state().registration = words.number(0, 7); }},
        {u"outage MS"_s, u"no network for MS: not registered, and sends are refused with code 500"_s,
         [](Modem &modem, ControlWords &words) { modem.beginOutage(words.milliseconds()); }},
        {u"signal 0..31|99"_s, u"signal quality of AT+CSQ"_s,
         [](Modem &modem, ControlWords &words) { modem.state().signalQuality = words.number(0, 99); }},
        {u"pin required|ready"_s, u"the SIM wants a PIN, which it never gets, or is ready"_s,
         [](Modem &modem, ControlWords &words) {
             modem.state().sim.pinRequired = words.choice({u"ready"_s, u"required"_s}) == 1;
         }},
        {u"sim starts MS [CODE]|gone|back|exchanged [silent]"_s,
         u"commands that need the SIM are refused with CODE (515) for MS after a start; the SIM is taken "
         u"out, "
         "put in, or another one is"_s,
         changeSim},
        {u"identity MAKER|MODEL"_s, u"what AT+CGMI and +CGMM say"_s, setIdentity},
        {u"cnmi RANGES"_s, u"what AT+CNMI takes, as its test form: (0-2),(0,1),(0,2),(0,1),(0,1)"_s,
         setNotificationRanges},
    };
}
} // namespace simulator
