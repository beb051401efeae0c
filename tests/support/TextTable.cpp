#include "tests/support/TextTable.h"

#include <QFile>
#include <QFileInfo>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace
{

/// Lines with what is indented below them.
QStringList logicalLines(const QString &fileName)
{
    QStringList lines;
    for (const TextLine &line : textLines(fileName)) {
        if (line.text.startsWith(u' '))
            lines.last() += u' ' + line.text.trimmed();
        else
            lines += line.text;
    }
    return lines;
}

} // namespace

QList<TextLine> textLines(const QString &fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        throw std::runtime_error("cannot read " + fileName.toStdString());
    QList<TextLine> lines;
    int number = 0;
    for (const QString &text : QString::fromUtf8(file.readAll()).split(u'\n')) {
        ++number;
        if (!text.isEmpty() && !text.startsWith(u'#'))
            lines += {number, text};
    }
    return lines;
}

QString replaced(const QString &text, const QRegularExpression &expression,
                 const std::function<QString(const QRegularExpressionMatch &)> &meaning)
{
    QString whole;
    qsizetype end = 0;
    for (const auto &match : expression.globalMatch(text)) {
        whole += text.sliced(end, match.capturedStart() - end) + meaning(match);
        end = match.capturedEnd();
    }
    return whole + text.sliced(end);
}

QString withRepetitions(const QString &text)
{
    static const QRegularExpression repetition(uR"(\{(\d+)\*([^}]+)\})"_s);
    return replaced(text, repetition, [](const QRegularExpressionMatch &match) {
        return match.captured(2).repeated(match.captured(1).toInt());
    });
}

QStringList cellsOf(const QString &line)
{
    static const QRegularExpression bar(uR"(\s*\|\s*(?=(?:[^"]*"[^"]*")*[^"]*$))"_s);
    return line.split(bar);
}

QString unquoted(const QString &cell)
{
    const bool isQuoted = cell.size() >= 2 && cell.startsWith(u'"') && cell.endsWith(u'"');
    return isQuoted ? cell.sliced(1).chopped(1) : cell;
}

QString cellText(const QString &cell)
{
    static const QRegularExpression control(uR"(\\(x[0-9a-f]{2}|[nr0]))"_s);
    return replaced(withRepetitions(unquoted(cell)), control, [](const QRegularExpressionMatch &match) {
        const QString code = match.captured(1);
        return code == u"n" ? u'\n' : code == u"r" ? u'\r' : QChar(code.sliced(1).toUShort(nullptr, 16));
    });
}

void addRows(const QString &table)
{
    QTest::addColumn<TextRow>("row");
    QStringList columns;
    for (const QString &line : table.split(u'\n')) {
        const QStringList cells = cellsOf(line.trimmed());
        if (cells.size() < 2)
            continue;
        if (columns.isEmpty()) {
            columns = cells;
            continue;
        }
        TextRow row;
        for (qsizetype i = 1; i < columns.size(); ++i)
            row[columns[i]] = cellText(cells.value(i));
        QTest::newRow(qPrintable(cellText(cells[0]))) << row;
    }
}

QString cell(const char *column)
{
    const auto *row = static_cast<const TextRow *>(QTest::qData("row", qMetaTypeId<TextRow>()));
    Q_ASSERT(row->contains(QString::fromLatin1(column)));
    return row->value(QString::fromLatin1(column));
}

void addTranscripts(const QStringList &fileNames)
{
    QTest::addColumn<QStringList>("steps");
    for (const QString &fileName : fileNames) {
        QList<std::pair<QRegularExpression, QString>> words;
        for (QString line : logicalLines(fileName)) {
            for (const auto &[word, meaning] : words)
                line.replace(word, meaning);
            const QString name = line.section(u": "_s, 0, 0);
            const QString steps = line.section(u": "_s, 1).replace(u'\'', u'"');
            if (line.startsWith(u"word "_s))
                words += {QRegularExpression(u"\\b%1\\b"_s.arg(line.section(u' ', 1, 1))),
                          line.section(u" = "_s, 1).replace(u'\\', u"\\\\"_s)};
            else
                QTest::addRow("%s: %s", qPrintable(QFileInfo(fileName).baseName()), qPrintable(name))
                    << withRepetitions(steps).split(u" / "_s);
        }
    }
}
