#include "simulator/dialogue/AtCommandLine.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace simulator
{
QByteArrayList AtCommand::parameters() const
{
    const QByteArray argument = tail.startsWith('=') ? tail.sliced(1) : tail;
    QByteArrayList parameters = argument.isEmpty() ? QByteArrayList() : argument.split(',');
    for (QByteArray &parameter : parameters)
        parameter = parameter.replace('"', "").trimmed();
    return parameters;
}

std::optional<int> AtCommand::number(qsizetype at) const
{
    bool ok = false;
    const int value = parameters().value(at).toInt(&ok);
    return ok && value >= 0 ? std::optional(value) : std::nullopt;
}

QList<AtCommand> parseAtCommandLine(const QByteArray &line)
{
    // An extended command goes up to a ";" outside of quotes; a basic one is a letter with its number.
    static const QRegularExpression command(
        uR"([ ;]*(?:([+^$*#][\w!%./:-]*) *(\?|=(?:"[^"]*"|[^";])*)?|(\S)(\d*)))"_s);
    const qsizetype start = line.toUpper().indexOf("AT");
    if (start < 0)
        return {};
    QList<AtCommand> commands;
    for (auto matches = command.globalMatch(QString::fromLatin1(line.mid(start + 2))); matches.hasNext();) {
        const QRegularExpressionMatch match = matches.next();
        commands += {(match.captured(1) + match.captured(3)).toUpper().toLatin1(),
                     (match.captured(2) + match.captured(4)).trimmed().toLatin1()};
    }
    if (commands.isEmpty())
        commands += AtCommand{};
    return commands;
}
} // namespace simulator
