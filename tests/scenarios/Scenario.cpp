#include "tests/scenarios/Scenario.h"

#include "platform/fault/Fault.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace
{

/// The values of one case, by placeholder.
using Values = QList<std::pair<QString, QString>>;

struct Line {
    int number;
    QString text;
};

QString unquoted(const QString &cell)
{
    const bool isQuoted = cell.size() >= 2 && cell.startsWith(u'"') && cell.endsWith(u'"');
    return isQuoted ? cell.sliced(1).chopped(1) : cell;
}

QString replaced(QString text, const Values &values)
{
    for (const auto &[placeholder, value] : values)
        text.replace(placeholder, value);
    return text;
}

QList<QStringList> rowsOf(const QString &line, const Values &values)
{
    const QString row = replaced(line, values);
    if (!line.startsWith(u'<') || !line.endsWith(u'>') || line.count(u'<') > 1)
        return {cellsOf(row)};
    QList<QStringList> rows;
    if (row != u"-")
        for (const QString &part : row.split(u" / "_s))
            rows += cellsOf(unquoted(part));
    return rows;
}

Scenario scenarioOf(const QString &name, const QList<Line> &lines, const Values &values)
{
    Scenario scenario{name, {}, {}};
    for (const auto &[number, text] : lines) {
        if (text.startsWith(u' '))
            scenario.steps.last().rows += rowsOf(text.trimmed(), values);
        else if (text.startsWith(u"on "))
            scenario.place = text;
        else
            scenario.steps += {replaced(text, values), {}, number};
    }
    return scenario;
}

/// A block's scenarios: one, or one of each case.
QList<Scenario> scenariosOf(const QString &name, const QList<Line> &lines)
{
    const auto isHead = [](const Line &line) { return line.text.startsWith(u"cases: "); };
    const auto head = std::find_if(lines.cbegin(), lines.cend(), isHead);
    const QList<Line> steps = lines.first(head - lines.cbegin());
    if (head == lines.cend())
        return {scenarioOf(name, steps, {})};
    QList<Scenario> scenarios;
    const QStringList columns = cellsOf(head->text.section(u": "_s, 1));
    for (auto line = head + 1; line != lines.cend(); ++line) {
        const QStringList cells = cellsOf(line->text.trimmed());
        if (cells.size() != columns.size())
            throw Fault(u"%1: %2 cells in \"%3\""_s.arg(name).arg(cells.size()).arg(line->text));
        Values values;
        for (qsizetype i = 1; i < columns.size(); ++i)
            values += {u'<' + columns[i] + u'>', cells[i]};
        scenarios += scenarioOf(name + u", "_s + cells[0], steps, values);
        scenarios.last().isFirstCase = line == head + 1;
    }
    return scenarios;
}

} // namespace

QStringList cellsOf(const QString &line)
{
    static const QRegularExpression bar(uR"(\s*\|\s*(?=(?:[^"]*"[^"]*")*[^"]*$))"_s);
    return line.split(bar);
}

QString cellText(const QString &cell)
{
    static const QRegularExpression special(uR"(\{(\d+)\*([^}]+)\}|\\(x[0-9a-f]{2}|[nr0]))"_s);
    const QString raw = unquoted(cell);
    QString text;
    qsizetype end = 0;
    for (const auto &match : special.globalMatch(raw)) {
        text += raw.sliced(end, match.capturedStart() - end);
        end = match.capturedEnd();
        const QString code = match.captured(3);
        if (code.isEmpty())
            text += match.captured(2).repeated(match.captured(1).toInt());
        else
            text += code == u"n"   ? QChar(u'\n')
                    : code == u"r" ? QChar(u'\r')
                                   : QChar(code.sliced(1).toUShort(nullptr, 16));
    }
    return text + raw.sliced(end);
}

QList<Scenario> readScenarios(const QString &fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        throw Fault(u"cannot read %1"_s.arg(fileName));
    QList<std::pair<QString, QList<Line>>> blocks;
    int number = 0;
    for (const QString &text : QString::fromUtf8(file.readAll()).split(u'\n')) {
        ++number;
        if (text.startsWith(u"== "))
            blocks += {QFileInfo(fileName).baseName() + u": "_s + text.sliced(3), {}};
        else if (!text.isEmpty() && !text.startsWith(u'#'))
            blocks.last().second += {number, text};
    }
    QList<Scenario> scenarios;
    for (const auto &[name, lines] : std::as_const(blocks))
        scenarios += scenariosOf(name, lines);
    return scenarios;
}
