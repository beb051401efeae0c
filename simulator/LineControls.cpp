#include "simulator/ControlCommands.h"

using namespace Qt::StringLiterals;

namespace simulator
{
void addLineControls(ControlTable &controls, Modem &modem)
{
    controls.add(u"unplug"_s, u"[MS]"_s, u"hang up the line; plug in again after MS"_s,
                 [&modem](ControlWords &words) {
                     const auto replug = words.optionalMilliseconds(u"milliseconds"_s);
                     modem.line().unplug();
                     if (replug)
                         modem.line().replugAfter(*replug);
                     return QString();
                 });
    controls.add(u"plug"_s, {}, u"plug in again, as a modem that was just switched on"_s,
                 [&modem](ControlWords &) {
                     modem.line().plug();
                     return QString();
                 });
    controls.add(
        u"unplug-after"_s, u"OCTETS [MS]"_s,
        u"hang up when so many more octets crossed the line, both directions together; plug in after MS"_s,
        [&modem](ControlWords &words) {
            const int octets = words.number(u"octets"_s, 0, ControlWords::maxCount);
            modem.line().unplugAfter(octets, words.optionalMilliseconds(u"milliseconds"_s));
            return QString();
        });
    controls.add(u"hang"_s, {}, u"answer nothing at all until resume"_s, [&modem](ControlWords &) {
        modem.session().setHung(true);
        return QString();
    });
    controls.add(u"resume"_s, {}, u"answer again; what came meanwhile is lost"_s, [&modem](ControlWords &) {
        modem.session().setHung(false);
        return QString();
    });
    controls.add(u"baud"_s, u"N"_s, u"line speed; 0 is as fast as it goes"_s, [&modem](ControlWords &words) {
        modem.line().setBaud(words.number(u"baud"_s, 0, 10'000'000));
        return QString();
    });
    controls.add(u"speed"_s, u"N"_s,
                 u"a program that opens the port at another speed than N is heard as noise; 0: any speed"_s,
                 [&modem](ControlWords &words) {
                     modem.line().setOnlySpeed(words.number(u"speed"_s, 0, 921'600));
                     return QString();
                 });
    controls.add(
        u"command-latency"_s, u"MS [COMMAND]"_s,
        u"time before each answer, or before that command's (as +CPMS)"_s, [&modem](ControlWords &words) {
            const auto latency = words.milliseconds(u"milliseconds"_s);
            const QByteArray name = words.isEmpty() ? "*" : words.word(u"command"_s).toUpper().toLatin1();
            modem.state().commandLatency.insert(name, latency);
            return QString();
        });
    controls.add(u"wake"_s, u"MS"_s, u"a modem that was plugged in answers nothing for so long"_s,
                 [&modem](ControlWords &words) {
                     modem.setWakeTime(words.milliseconds(u"milliseconds"_s));
                     return QString();
                 });
    controls.add(u"prompt"_s, u"usual|bare|line"_s,
                 u"the prompt is CR LF > blank, a mere >, or a line of its own"_s,
                 [&modem](ControlWords &words) {
                     const QString style = words.word(u"prompt style"_s);
                     if (style == u"usual")
                         modem.session().setPromptStyle(PromptStyle::Usual);
                     else if (style == u"bare")
                         modem.session().setPromptStyle(PromptStyle::Bare);
                     else if (style == u"line")
                         modem.session().setPromptStyle(PromptStyle::Line);
                     else
                         throw ControlError(u"usual, bare or line expected"_s);
                     return QString();
                 });
    controls.add(u"urc"_s, u"TEXT"_s, u"write an unsolicited line now"_s, [&modem](ControlWords &words) {
        modem.session().sendUnsolicited({words.rest().toUtf8()});
        return QString();
    });
    controls.add(u"urc-mid"_s, u"TEXT"_s, u"write it between the next command line and its answer"_s,
                 [&modem](ControlWords &words) {
                     modem.session().sendUnsolicitedInNextCommand(words.rest().toUtf8());
                     return QString();
                 });
    controls.add(u"urc-mid-send"_s, u"TEXT"_s, u"write it between the next TPDU and its result"_s,
                 [&modem](ControlWords &words) {
                     modem.state().unsolicitedInNextSend += words.rest().toUtf8();
                     return QString();
                 });
}
} // namespace simulator
