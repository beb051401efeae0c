#include "simulator/controls/Controls.h"

using namespace Qt::StringLiterals;

namespace simulator
{
namespace
{
void unplug(Modem &modem, ControlWords &words)
{
    modem.line().unplug();
    if (!words.isEmpty())
        modem.line().replugAfter(words.milliseconds());
}

void atStart(Modem &modem, ControlWords &words)
{
    UnaskedText text;
    text.delay = words.milliseconds();
    text.octets = words.framedLines();
    modem.state().startTexts += text;
}

void atOpen(Modem &modem, ControlWords &words)
{
    UnaskedText text;
    text.count = words.countOrAlways();
    text.delay = words.milliseconds();
    text.octets = words.escaped();
    modem.state().openTexts += text;
}
} // namespace

QList<Control> lineControls()
{
    return {
        {u"unplug [MS]"_s, u"hang up the line; plug in again after MS"_s, unplug},
        {u"plug"_s, u"plug in again, as a modem that was just switched on"_s,
         [](Modem &modem, ControlWords &) { modem.line().plug(); }},
        {u"restart [silent]"_s,
         u"settings are as at first while the line stays up; announced by its start lines, or not"_s,
         [](Modem &modem, ControlWords &words) { modem.restart(!words.takeIf(u"silent"_s)); }},
        {u"hang"_s, u"answer nothing at all from now on"_s,
         [](Modem &modem, ControlWords &) { modem.session().hang(); }},
        {u"baud N"_s, u"line speed; 0 is as fast as it goes"_s,
         [](Modem &modem, ControlWords &words) { modem.line().setBaud(words.number(0, 10'000'000)); }},
        {u"speed N"_s,
         u"a program that opens the port at another speed than N is heard as noise; 0: any speed"_s,
         [](Modem &modem, ControlWords &words) { modem.line().setOnlySpeed(words.number(0, 921'600)); }},
        {u"prompt usual|bare|line"_s, u"the prompt is CR LF > blank, a mere >, or a line of its own"_s,
         [](Modem &modem, ControlWords &words) {
             const QByteArrayList prompts{"\r\n> ", ">", "\r\n>\r\n"};
             modem.session().setPrompt(prompts[words.choice({u"usual"_s, u"bare"_s, u"line"_s})]);
         }},
        {u"at-start MS LINES"_s, u"after each start, and MS later, the modem says LINES unasked"_s, atStart},
        {u"at-open N|always MS TEXT"_s,
         u"when a program opens the port, and MS later, exactly TEXT arrives: what an earlier session left"_s,
         atOpen},
        {u"octets TEXT"_s, u"write exactly TEXT now"_s,
         [](Modem &modem, ControlWords &words) { modem.session().write(words.escaped()); }},
        {u"urc TEXT"_s, u"write an unsolicited line now"_s,
         [](Modem &modem, ControlWords &words) { modem.session().sendUnsolicited({words.rest().toUtf8()}); }},
        {u"urc-mid TEXT"_s, u"write it between the next command line and its answer"_s,
         [](Modem &modem, ControlWords &words) {
             modem.state().unsolicitedInNextCommand += words.rest().toUtf8();
         }},
        {u"urc-mid-send TEXT"_s, u"write it between the next TPDU and its result"_s,
         [](Modem &modem, ControlWords &words) {
             modem.state().unsolicitedInNextSend += words.rest().toUtf8();
         }},
    };
}
} // namespace simulator
