#include "simulator/controls/ControlCommands.h"

using namespace Qt::StringLiterals;

namespace simulator
{
void addLineControls(ControlTable &controls, Modem &modem)
{
    SerialLine &line = modem.line();
    controls.add(u"unplug"_s, u"[MS]"_s, u"hang up the line; plug in again after MS"_s,
                 [&line](ControlWords &words) {
                     const auto replug = words.optionalMilliseconds(u"milliseconds"_s);
                     line.unplug();
                     if (replug)
                         line.replugAfter(*replug);
                 });
    controls.add(u"plug"_s, {}, u"plug in again, as a modem that was just switched on"_s,
                 [&line](ControlWords &) { line.plug(); });
    controls.add(
        u"unplug-after"_s, u"OCTETS [MS]"_s,
        u"hang up when so many more octets crossed the line, both directions together; plug in after MS"_s,
        [&line](ControlWords &words) {
            const int octets = words.number(u"octets"_s, 0, ControlWords::maxCount);
            line.unplugAfter(octets, words.optionalMilliseconds(u"milliseconds"_s));
        });
    controls.add(u"baud"_s, u"N"_s, u"line speed; 0 is as fast as it goes"_s,
                 [&line](ControlWords &words) { line.setBaud(words.number(u"baud"_s, 0, 10'000'000)); });
    controls.add(u"speed"_s, u"N"_s,
                 u"a program that opens the port at another speed than N is heard as noise; 0: any speed"_s,
                 [&line](ControlWords &words) { line.setOnlySpeed(words.number(u"speed"_s, 0, 921'600)); });
    controls.add(u"hang"_s, {}, u"answer nothing at all from now on"_s,
                 [&modem](ControlWords &) { modem.session().hang(); });
    controls.add(u"command-latency"_s, u"MS"_s, u"time before each answer"_s, [&modem](ControlWords &words) {
        modem.state().commandLatency = words.milliseconds(u"milliseconds"_s);
    });
    controls.add(u"prompt"_s, u"usual|bare|line"_s,
                 u"the prompt is CR LF > blank, a mere >, or a line of its own"_s,
                 [&modem](ControlWords &words) {
                     const int style = words.choice({"usual", "bare", "line"});
                     modem.session().setPromptStyle(static_cast<PromptStyle>(style));
                 });
}
} // namespace simulator
