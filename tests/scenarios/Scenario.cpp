#include "tests/scenarios/Scenario.h"

#include "platform/fault/Fault.h"
#include "tests/support/TextTable.h"

#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace
{

/// The values of one case, by placeholder.
using Values = QList<std::pair<QString, QString>>;

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

Scenario scenarioOf(const QString &name, const QList<TextLine> &lines, const Values &values)
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
QList<Scenario> scenariosOf(const QString &name, const QList<TextLine> &lines)
{
    const auto isHead = [](const TextLine &line) { return line.text.startsWith(u"cases: "); };
    const auto head = std::find_if(lines.cbegin(), lines.cend(), isHead);
    const QList<TextLine> steps = lines.first(head - lines.cbegin());
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

QList<Scenario> readScenarios(const QString &fileName)
{
    QList<std::pair<QString, QList<TextLine>>> blocks;
    for (const TextLine &line : textLines(fileName)) {
        if (line.text.startsWith(u"== "))
            blocks += {QFileInfo(fileName).baseName() + u": "_s + line.text.sliced(3), {}};
        else
            blocks.last().second += line;
    }
    QList<Scenario> scenarios;
    for (const auto &[name, lines] : std::as_const(blocks))
        scenarios += scenariosOf(name, lines);
    return scenarios;
}
