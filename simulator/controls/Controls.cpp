#include "simulator/controls/Controls.h"

#include <QCoreApplication>
#include <algorithm>

using namespace Qt::StringLiterals;

namespace simulator
{
namespace
{
const QList<Control> &allControls();

void help(Modem &, ControlWords &words)
{
    words.answer(u"%1 commands"_s.arg(allControls().size()));
    for (const Control &control : allControls())
        words.answer(u"\n  %1\n        %2"_s.arg(control.usage, control.help));
}

const QList<Control> &allControls()
{
    static const QList<Control> all =
        QList<Control>{
            {u"help"_s, u"this list"_s, help},
            {u"quit"_s, u"end the simulator"_s, [](Modem &, ControlWords &) { QCoreApplication::quit(); }}} +
        answerControls() + deliverControls() + lineControls() + stateControls() + storageControls();
    return all;
}
} // namespace

QString runControl(Modem &modem, const QString &line)
{
    ControlWords words(line);
    try {
        const QString name = words.word(u"a command"_s);
        const auto control = std::ranges::find_if(allControls(), [&name](const Control &candidate) {
            return candidate.usage.section(u' ', 0, 0) == name;
        });
        if (control == allControls().end())
            throw ControlError(u"no command \"%1\"; help lists them"_s.arg(name));
        control->run(modem, words);
        words.end();
        modem.network().retrySoon();
        return (u"ok "_s + words.answer()).trimmed();
    } catch (const std::runtime_error &error) {
        return u"error "_s + QString::fromUtf8(error.what()).simplified();
    }
}
} // namespace simulator
