#include "simulator/controls/ControlCommands.h"

using namespace Qt::StringLiterals;

namespace simulator
{
void addSendControls(ControlTable &controls, Modem &modem)
{
    ModemState &state = modem.state();
    const auto plan = [&state](SendFate::Kind kind) {
        return [&state, kind](ControlWords &words) {
            SendFate fate{.kind = kind};
            const int count = words.number(u"count"_s, 1, ControlWords::maxCount);
            if (kind == SendFate::Kind::Refuse)
                fate.code = words.number(u"+CMS ERROR code"_s, 0, 999);
            if (kind == SendFate::Kind::Late || kind == SendFate::Kind::Slow)
                fate.duration = words.milliseconds(u"milliseconds"_s);
            if (kind == SendFate::Kind::Mute)
                fate.duration = words.optionalMilliseconds(u"milliseconds"_s).value_or(fate.duration);
            state.sendScript.add(count, fate);
        };
    };
    controls.add(
        u"latency"_s, u"MS"_s, u"network time from a TPDU to its result"_s,
        [&state](ControlWords &words) { state.networkLatency = words.milliseconds(u"milliseconds"_s); });
    controls.add(u"accept"_s, u"N"_s, u"plan: the next N sends succeed (plans follow each other)"_s,
                 plan(SendFate::Kind::Accept));
    controls.add(u"refuse"_s, u"N CODE"_s, u"plan: the next N sends get +CMS ERROR: CODE"_s,
                 plan(SendFate::Kind::Refuse));
    controls.add(u"refuse-number"_s, u"NUMBER CODE"_s, u"every send to NUMBER gets that code, until code 0"_s,
                 [&state](ControlWords &words) {
                     const QString number = words.word(u"number"_s);
                     state.sendScript.refuseNumber(number, words.number(u"+CMS ERROR code"_s, 0, 999));
                 });
    controls.add(u"bare-ok"_s, u"N"_s, u"plan: the next N sends are refused with a mere OK, without +CMGS"_s,
                 plan(SendFate::Kind::BareOk));
    controls.add(
        u"mute"_s, u"N [MS]"_s,
        u"plan: the next N sends are accepted without any result; input is ignored for MS, then taken again"_s,
        plan(SendFate::Kind::Mute));
    controls.add(u"late"_s, u"N MS"_s,
                 u"plan: the results of the next N sends come MS late; new input is answered meanwhile"_s,
                 plan(SendFate::Kind::Late));
    controls.add(u"slow"_s, u"N MS"_s,
                 u"plan: the results of the next N sends come MS late; new input waits for them"_s,
                 plan(SendFate::Kind::Slow));
    controls.add(u"mute-prompt"_s, u"N"_s, u"the next N send commands get no prompt"_s,
                 [&state](ControlWords &words) {
                     state.sendScript.mutePrompts(words.number(u"count"_s, 0, ControlWords::maxCount));
                 });
}
} // namespace simulator
