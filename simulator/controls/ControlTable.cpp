#include "simulator/controls/ControlTable.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace simulator
{
ControlTable::ControlTable()
{
    add(u"help"_s, {}, u"this list"_s, [this](ControlWords &) { return help(); });
}

QString ControlTable::run(const QString &line) const
{
    ControlWords words(line);
    try {
        const QString name = words.word(u"a command"_s);
        const auto control = std::ranges::find(m_controls, name, &Control::name);
        if (control == m_controls.end())
            return u"error no command \"%1\"; help lists them"_s.arg(name);
        const QString answer = control->run(words);
        words.end();
        return answer.isEmpty() ? u"ok"_s : u"ok "_s + answer;
    } catch (const std::runtime_error &error) {
        return u"error "_s + QString::fromUtf8(error.what()).simplified();
    }
}

QString ControlTable::help() const
{
    QString text = u"%1 commands"_s.arg(m_controls.size());
    for (const Control &control : m_controls)
        text += u"\n  %1\n        %2"_s.arg((control.name + u' ' + control.usage).trimmed(), control.help);
    return text;
}
} // namespace simulator
