#include "simulator/ControlCommands.h"

using namespace Qt::StringLiterals;

namespace simulator
{
namespace
{
QString onOffText(bool on)
{
    return on ? u"on"_s : u"off"_s;
}

QString status(Modem &modem)
{
    ModemState &state = modem.state();
    const MessageStore &sim = state.store(Memory::Sim);
    const MessageStore &equipment = state.store(Memory::Equipment);
    return u"line=%1 port=%2 hung=%3 registered=%4 pin=%5 sent=%6 refused=%7 latency=%8 "_s
               .arg(modem.line().isPlugged() ? u"plugged"_s : u"unplugged"_s,
                    modem.line().isOpenedByPeer() ? u"open"_s : u"closed"_s,
                    onOffText(modem.session().isHung()))
               .arg(state.registration)
               .arg(state.sim.isLocked() ? u"required"_s : u"ready"_s)
               .arg(modem.submits().accepted())
               .arg(modem.submits().refused())
               .arg(state.networkLatency.count()) +
           u"SM=%1/%2 ME=%3/%4 waiting=%5 octets-in=%6 planned=%7"_s.arg(sim.used())
               .arg(sim.capacity())
               .arg(equipment.used())
               .arg(equipment.capacity())
               .arg(modem.deliveries().waiting())
               .arg(modem.line().octetsIn())
               .arg(state.sendScript.summary());
}
} // namespace

void addStateControls(ControlTable &controls, Modem &modem)
{
    controls.add(u"status"_s, {}, u"what the modem is doing, in one line"_s,
                 [&modem](ControlWords &) { return status(modem); });
    controls.add(u"registered"_s, u"0..7"_s,
                 u"network registration: 1 home, 5 roaming, 6 and 7 for SMS only, else none"_s,
                 [&modem](ControlWords &words) {
                     modem.setRegistration(words.number(u"registration"_s, 0, 7));
                     return QString();
                 });
    controls.add(u"outage"_s, u"MS [CODE]"_s,
                 u"no network for MS: not registered, and sends are refused with CODE (500)"_s,
                 [&modem](ControlWords &words) {
                     const auto duration = words.milliseconds(u"milliseconds"_s);
                     constexpr int unknownError = 500;
                     modem.beginOutage(duration, words.isEmpty()
                                                     ? unknownError
                                                     : words.number(u"+CMS ERROR code"_s, 0, 999));
                     return QString();
                 });
    controls.add(u"restart"_s, u"[silent]"_s,
                 u"settings are as at first while the line stays up; announced by its start lines, or not"_s,
                 [&modem](ControlWords &words) {
                     modem.restart(!words.takeIf(u"silent"_s));
                     return QString();
                 });
    controls.add(u"format"_s, u"0|1"_s, u"AT+CMGF after each start: 0 PDU mode, 1 text mode"_s,
                 [&modem](ControlWords &words) {
                     modem.state().formatAtStart = words.number(u"format"_s, 0, 1);
                     return QString();
                 });
    controls.add(u"signal"_s, u"0..31|99"_s, u"signal quality of AT+CSQ"_s, [&modem](ControlWords &words) {
        modem.state().signalQuality = words.number(u"signal"_s, 0, 99);
        return QString();
    });
    controls.add(u"pin"_s, u"required [PIN]|ready"_s,
                 u"the SIM wants a PIN (1234) or is ready; kept when plugged again"_s,
                 [&modem](ControlWords &words) {
                     const QString wanted = words.word(u"required or ready"_s);
                     if (wanted != u"required" && wanted != u"ready")
                         throw ControlError(u"required or ready expected"_s);
                     const bool required = wanted == u"required";
                     modem.setLocked(required, required && !words.isEmpty() ? words.word(u"PIN"_s).toLatin1()
                                                                            : QByteArray());
                     return QString();
                 });
    controls.add(
        u"sim"_s, u"busy N|starts MS [CODE]"_s,
        u"the next N commands that need the SIM are refused as busy, or with CODE (515) for MS after a start"_s,
        [&modem](ControlWords &words) {
            Sim &sim = modem.state().sim;
            if (words.takeIf(u"starts"_s)) {
                sim.startsFor = words.milliseconds(u"milliseconds"_s);
                sim.startingCode = words.isEmpty() ? 515 : words.number(u"code"_s, 0, 999);
                return QString();
            }
            if (!words.takeIf(u"busy"_s))
                throw ControlError(u"busy or starts expected"_s);
            sim.busyCommands = words.number(u"count"_s, 0, ControlWords::maxCount);
            return QString();
        });
    controls.add(u"smsc"_s, u"NUMBER"_s, u"service-centre number on the SIM"_s,
                 [&modem](ControlWords &words) {
                     modem.state().serviceCentre = words.word(u"number"_s);
                     return QString();
                 });
    controls.add(u"echo"_s, u"on|off"_s, u"whether commands are echoed after the next start"_s,
                 [&modem](ControlWords &words) {
                     modem.state().echoAtStart = words.onOff();
                     return QString();
                 });
    controls.add(u"cnmi"_s, u"RANGES"_s,
                 u"what AT+CNMI takes, as its test form: (0-2),(0,1),(0,2),(0,1),(0,1)"_s,
                 [&modem](ControlWords &words) {
                     const auto ranges = NotificationRanges::fromText(words.word(u"ranges"_s).toLatin1());
                     if (!ranges)
                         throw ControlError(u"five lists as (0-2),(0,1),(0,2),(0,1),(0,1) expected"_s);
                     modem.state().notificationRanges = *ranges;
                     return QString();
                 });
}
} // namespace simulator
