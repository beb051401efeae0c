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

QList<QStringList> rowsOf(const QStringList &lines, const Values &values)
{
    QList<QStringList> rows;
    for (const QString &line : lines) {
        const bool isPlaceholder = line.startsWith(u'<') && line.endsWith(u'>') && line.count(u'<') == 1;
        const QString row = replaced(line, values);
        if (!isPlaceholder)
            rows += cellsOf(row);
        else if (row != u"-")
            for (const QString &part : row.split(u" / "_s))
                rows += cellsOf(unquoted(part));
    }
    return rows;
}

struct Block {
    QString name;
    struct Line {
        QString text;
        QStringList rows;
        int number = 0;
    };
    QList<Line> lines;
};

QList<Block> blocksOf(const QString &fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        throw Fault(u"cannot read %1"_s.arg(fileName));
    QList<Block> blocks;
    int number = 0;
    for (const QString &line : QString::fromUtf8(file.readAll()).split(u'\n')) {
        ++number;
        const QString text = line.trimmed();
        if (text.isEmpty() || text.startsWith(u'#'))
            continue;
        if (text.startsWith(u"== "_s))
            blocks += {QFileInfo(fileName).baseName() + u": "_s + text.mid(3), {}};
        else if (line.startsWith(u' '))
            blocks.last().lines.last().rows += text;
        else
            blocks.last().lines += {text, {}, number};
    }
    return blocks;
}

Scenario scenarioOf(const Block &block, const Values &values)
{
    Scenario scenario{.name = block.name, .steps = {}};
    for (const Block::Line &line : block.lines) {
        if (line.text == u"on every schema")
            scenario.isForEverySchema = true;
        else if (line.text == u"on SQLite")
            scenario.isForSqlite = true;
        else if (line.text == u"on servers")
            scenario.isForServers = true;
        else
            scenario.steps += {replaced(line.text, values), rowsOf(line.rows, values), line.number};
    }
    return scenario;
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
    QList<Scenario> scenarios;
    for (Block block : blocksOf(fileName)) {
        if (block.lines.isEmpty() || !block.lines.last().text.startsWith(u"cases: "_s)) {
            scenarios += scenarioOf(block, {});
            continue;
        }
        const Block::Line cases = block.lines.takeLast();
        const QStringList columns = cellsOf(cases.text.section(u": "_s, 1));
        for (const QString &row : cases.rows) {
            const QStringList cells = cellsOf(row);
            if (cells.size() != columns.size())
                throw Fault(u"%1: %2 cells in \"%3\""_s.arg(block.name).arg(cells.size()).arg(row));
            Values values;
            for (qsizetype i = 1; i < columns.size(); ++i)
                values += {u'<' + columns[i] + u'>', cells[i]};
            Scenario scenario = scenarioOf(block, values);
            scenario.name += u", "_s + cells[0];
            scenario.isFirstCase = &row == &cases.rows.constFirst();
            scenarios += scenario;
        }
    }
    return scenarios;
}
