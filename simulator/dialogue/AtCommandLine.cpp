#include "simulator/dialogue/AtCommandLine.h"

#include <algorithm>
#include <cctype>

namespace simulator
{
namespace
{
bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool isNameCharacter(char c)
{
    return (std::isalnum(static_cast<unsigned char>(c)) != 0) || QByteArrayView("!%-./:_").contains(c);
}

/// Where an argument ends: at a ";" outside of quotes, or at the end of the line.
qsizetype argumentEnd(const QByteArray &text, qsizetype from)
{
    bool quoted = false;
    for (qsizetype i = from; i < text.size(); ++i) {
        if (text[i] == '"')
            quoted = !quoted;
        else if (text[i] == ';' && !quoted)
            return i;
    }
    return text.size();
}

/// Reads "=...", "=?", "?" or nothing, and sets form and argument. Returns where the next command starts.
qsizetype readForm(const QByteArray &text, qsizetype at, AtCommand &command)
{
    const qsizetype end = argumentEnd(text, at);
    const QByteArray tail = text.mid(at, end - at).trimmed();
    if (tail == "?")
        command.form = AtCommand::Form::Read;
    else if (tail == "=?")
        command.form = AtCommand::Form::Test;
    else if (tail.startsWith('=')) {
        command.form = AtCommand::Form::Set;
        command.argument = tail.mid(1);
    } else if (!tail.isEmpty()) {
        command.name = "?";
    }
    return end + 1;
}

qsizetype readExtended(const QByteArray &text, qsizetype at, AtCommand &command)
{
    qsizetype end = at + 1;
    while (end < text.size() && isNameCharacter(text[end]))
        ++end;
    command.name = text.mid(at, end - at).toUpper();
    return readForm(text, end, command);
}

/// A letter and its number.
qsizetype readBasic(const QByteArray &text, qsizetype at, AtCommand &command)
{
    command.name = text.mid(at, 1).toUpper();
    qsizetype end = at + 1;
    while (end < text.size() && isDigit(text[end]))
        ++end;
    command.argument = text.mid(at + 1, end - at - 1);
    return end;
}
} // namespace

std::optional<int> AtParameter::number() const
{
    bool ok = false;
    const int value = text.toInt(&ok);
    return ok && !quoted && isDigit(text[0]) ? std::optional(value) : std::nullopt;
}

QList<AtParameter> AtCommand::parameters() const
{
    QList<AtParameter> result;
    if (argument.isEmpty())
        return result;
    AtParameter parameter;
    bool quoted = false;
    for (const char c : argument) {
        if (c == '"') {
            quoted = !quoted;
            parameter.quoted = true;
        } else if (c == ',' && !quoted) {
            result += parameter;
            parameter = {};
        } else if (quoted || c != ' ') {
            parameter.text += c;
        }
    }
    result += parameter;
    return result;
}

std::optional<int> AtCommand::number(qsizetype at) const
{
    const QList<AtParameter> all = parameters();
    return at < all.size() ? all[at].number() : std::nullopt;
}

QList<AtCommand> parseAtCommandLine(const QByteArray &line)
{
    const qsizetype start = line.toUpper().indexOf("AT");
    if (start < 0)
        return {};
    const QByteArray text = line.mid(start + 2);
    QList<AtCommand> commands;
    for (qsizetype at = 0; at < text.size();) {
        const char c = text[at];
        if (c == ' ' || c == ';') {
            ++at;
            continue;
        }
        AtCommand command;
        if (c == '+' || c == '^' || c == '$' || c == '*' || c == '#')
            at = readExtended(text, at, command);
        else
            at = readBasic(text, at, command);
        commands += command;
    }
    if (commands.isEmpty())
        commands += AtCommand{};
    return commands;
}
} // namespace simulator
