#pragma once

#include <QTest>

using TextRow = QHash<QString, QString>;

/// A test's data as text. The first line names the columns, the first column the rows; blanks around a cell do not
/// count, unless it stands in quotation marks.
inline void addRows(const QString &table)
{
    QTest::addColumn<TextRow>("row");
    QStringList columns;
    for (const QString &line : table.split(u'\n')) {
        QStringList cells;
        for (const QString &cell : line.split(u'|')) {
            const QString text = cell.trimmed();
            const bool isQuoted = text.size() > 1 && text.startsWith(u'"') && text.endsWith(u'"');
            cells += isQuoted ? text.sliced(1).chopped(1) : text;
        }
        if (cells.size() < 2)
            continue;
        if (columns.isEmpty()) {
            columns = cells;
            continue;
        }
        TextRow row;
        for (qsizetype i = 1; i < columns.size(); ++i)
            row[columns[i]] = cells.value(i);
        QTest::newRow(qPrintable(cells[0])) << row;
    }
}

/// The current row's text in a column.
[[nodiscard]] inline QString cell(const char *column)
{
    const auto *row = static_cast<const TextRow *>(QTest::qData("row", qMetaTypeId<TextRow>()));
    Q_ASSERT(row->contains(QString::fromLatin1(column)));
    return row->value(QString::fromLatin1(column));
}
