#include "simulator/controls/ControlCommands.h"

using namespace Qt::StringLiterals;

namespace simulator
{
namespace
{
struct ChangeName {
    QLatin1StringView name;
    AnswerChange::Kind kind;
    bool hasLine;
    bool hasText;
};

constexpr auto changeNames =
    std::to_array<ChangeName>({{"drop"_L1, AnswerChange::Kind::Drop, true, false},
                               {"garble"_L1, AnswerChange::Kind::Garble, true, false},
                               {"shorten"_L1, AnswerChange::Kind::Shorten, true, false},
                               {"insert"_L1, AnswerChange::Kind::Insert, true, true},
                               {"replace"_L1, AnswerChange::Kind::Replace, true, true},
                               {"no-final"_L1, AnswerChange::Kind::NoFinal, false, false},
                               {"ok-first"_L1, AnswerChange::Kind::OkFirst, false, false},
                               {"late"_L1, AnswerChange::Kind::Late, false, false},
                               {"restart"_L1, AnswerChange::Kind::Restart, false, false}});

int count(ControlWords &words)
{
    return words.takeIf(u"always"_s) ? AnswerScript::always
                                     : words.number(u"count"_s, 1, ControlWords::maxCount);
}

QByteArray framed(const QByteArray &lines)
{
    QByteArray text;
    for (const QByteArray &line : lines.split('|'))
        text += "\r\n" + line + "\r\n";
    return text;
}

AnswerChange readChange(ControlWords &words)
{
    const QString name = words.word(u"change"_s);
    const auto found = std::ranges::find(changeNames, name, &ChangeName::name);
    if (found == changeNames.end())
        throw ControlError(u"\"%1\" is no change; help lists them"_s.arg(name));
    AnswerChange change{.kind = found->kind};
    constexpr int mostLines = 1000;
    if (found->hasLine)
        change.line = words.number(u"line"_s, -mostLines, mostLines);
    if (found->hasText)
        change.text = words.escaped();
    if (change.kind == AnswerChange::Kind::Late)
        change.delay = words.milliseconds(u"milliseconds"_s);
    return change;
}
} // namespace

void addAnswerControls(ControlTable &controls, Modem &modem)
{
    AnswerScript &answers = modem.state().answers;
    controls.add(
        u"answer"_s, u"[--raw] N|always COMMAND LINES"_s,
        u"the next N commands that begin with COMMAND (* any, > a message's body) are answered with LINES "
        "and not carried out: | parts lines, \\r \\n \\xHH are escapes; --raw adds no line ends"_s,
        [&answers](ControlWords &words) {
            const bool raw = words.takeIf(u"--raw"_s);
            const int times = count(words);
            const QByteArray pattern = words.word(u"command"_s).toUtf8();
            const QByteArray text = words.escaped();
            answers.add(times, pattern, {.text = raw ? text : framed(text)});
        });
    controls.add(
        u"edit"_s, u"N|always COMMAND CHANGE"_s,
        u"the next N answers to COMMAND are changed: drop K, garble K, shorten K (line K of the answer, -1 "
        "the last), insert K TEXT, replace K TEXT, no-final, ok-first, late MS, restart"_s,
        [&answers](ControlWords &words) {
            const int times = count(words);
            const QByteArray pattern = words.word(u"command"_s).toUtf8();
            answers.add(times, pattern, readChange(words));
        });
}

void addUnaskedControls(ControlTable &controls, Modem &modem)
{
    ModemState &state = modem.state();
    controls.add(u"at-start"_s, u"MS LINES"_s,
                 u"after each start, and MS later, the modem says LINES unasked"_s,
                 [&state](ControlWords &words) {
                     const auto delay = words.milliseconds(u"milliseconds"_s);
                     state.startLines.append({delay, words.escaped().split('|')});
                 });
    controls.add(
        u"at-open"_s, u"N|always MS TEXT"_s,
        u"when a program opens the port, and MS later, exactly TEXT arrives: what an earlier session left"_s,
        [&state](ControlWords &words) {
            const int times = count(words);
            const auto delay = words.milliseconds(u"milliseconds"_s);
            state.openTexts.append({times, delay, words.escaped()});
        });
    controls.add(u"octets"_s, u"TEXT"_s, u"write exactly TEXT now"_s,
                 [&modem](ControlWords &words) { modem.session().sendOctets(words.escaped()); });
    controls.add(u"urc"_s, u"TEXT"_s, u"write an unsolicited line now"_s,
                 [&modem](ControlWords &words) { modem.session().sendUnsolicited({words.rest().toUtf8()}); });
    controls.add(u"urc-mid"_s, u"TEXT"_s, u"write it between the next command line and its answer"_s,
                 [&modem](ControlWords &words) {
                     modem.session().sendUnsolicitedInNextCommand(words.rest().toUtf8());
                 });
    controls.add(u"urc-mid-send"_s, u"TEXT"_s, u"write it between the next TPDU and its result"_s,
                 [&state](ControlWords &words) { state.unsolicitedInNextSend += words.rest().toUtf8(); });
}
} // namespace simulator
