#include "simulator/controls/Controls.h"

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace simulator
{
namespace
{
using Kind = AnswerChange::Kind;

struct ChangeName {
    QLatin1StringView name;
    Kind kind;
    bool hasNumber = false;
    bool hasText = false;
};

constexpr auto changeNames = std::to_array<ChangeName>({{"usual"_L1, Kind::Usual},
                                                        {"drop"_L1, Kind::Drop, true},
                                                        {"garble"_L1, Kind::Garble, true},
                                                        {"shorten"_L1, Kind::Shorten, true},
                                                        {"insert"_L1, Kind::Insert, true, true},
                                                        {"replace"_L1, Kind::Replace, true, true},
                                                        {"ok-first"_L1, Kind::OkFirst},
                                                        {"no-final"_L1, Kind::NoFinal},
                                                        {"mute"_L1, Kind::Mute},
                                                        {"late"_L1, Kind::Late, true},
                                                        {"slow"_L1, Kind::Slow, true},
                                                        {"restart"_L1, Kind::Restart},
                                                        {"unplug"_L1, Kind::Unplug}});

void answer(Modem &modem, ControlWords &words)
{
    const bool isRaw = words.takeIf(u"--raw"_s);
    const int count = words.countOrAlways();
    const QByteArray pattern = words.word(u"a command"_s).toUtf8();
    modem.state().answers.add(count, pattern, {.text = isRaw ? words.escaped() : words.framedLines()});
}

void edit(Modem &modem, ControlWords &words)
{
    const int count = words.countOrAlways();
    const QByteArray pattern = words.word(u"a command"_s).toUtf8();
    const QString name = words.word(u"a change"_s);
    const auto found = std::ranges::find(changeNames, name, &ChangeName::name);
    if (found == changeNames.end())
        throw ControlError(u"\"%1\" is no change; help lists them"_s.arg(name));
    constexpr int limit = 1'000'000;
    AnswerChange change{.kind = found->kind};
    if (found->hasNumber)
        change.number = words.number(-limit, limit);
    if (found->hasText)
        change.text = words.escaped();
    modem.state().answers.add(count, pattern, change);
}

void refuse(Modem &modem, ControlWords &words)
{
    const int count = words.count();
    const AnswerChange change{.kind = Kind::Refuse, .number = words.number(0, 999)};
    modem.state().answers.add(count, AnswerScript::body, change);
}
} // namespace

QList<Control> answerControls()
{
    return {
        {u"answer [--raw] N|always COMMAND LINES"_s,
         u"the next N commands that begin with COMMAND (* any, > a message's body) are answered with LINES "
         "and not carried out: | parts lines, \\r \\n \\xHH are escapes; --raw adds no line ends"_s,
         answer},
        {u"edit N|always COMMAND CHANGE"_s,
         u"the next N answers to COMMAND are changed: drop K, garble K, shorten K (line K of the answer, -1 "
         u"the "
         "last), insert K TEXT, replace K TEXT, ok-first, no-final, mute, late MS (commands are taken "
         "meanwhile), slow MS, restart or unplug instead of an answer; usual: not yet changed"_s,
         edit},
        {u"refuse N CODE"_s, u"the next N messages get +CMS ERROR: CODE"_s, refuse},
        {u"bare-ok N"_s, u"the next N messages are refused with a mere OK, without +CMGS"_s,
         [](Modem &modem, ControlWords &words) {
             modem.state().answers.add(words.count(), AnswerScript::body, {.kind = Kind::BareOk});
         }},
        {u"refuse-number NUMBER CODE"_s, u"every message to NUMBER gets that code, until code 0"_s,
         [](Modem &modem, ControlWords &words) {
             int &code = modem.state().refusedNumbers[words.word(u"a number"_s)];
             code = words.number(0, 999);
         }},
        {u"latency MS"_s, u"network time from a message to its result"_s,
         [](Modem &modem, ControlWords &words) { modem.state().networkLatency = words.milliseconds(); }},
        {u"command-latency MS"_s, u"time before each answer"_s,
         [](Modem &modem, ControlWords &words) { modem.state().commandLatency = words.milliseconds(); }},
    };
}
} // namespace simulator
