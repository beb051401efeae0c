#pragma once

#include <QRegularExpression>
#include <QStringList>
#include <QTest>
#include <functional>

/// Test data as text, read in one way wherever it stands.

struct TextLine {
    int number = 0; ///< in its file, from 1
    QString text;
};

/// A file's lines but those that are empty or begin with "#". Throws std::runtime_error when it cannot be read.
[[nodiscard]] QList<TextLine> textLines(const QString &fileName);
/// A text with each match replaced by what meaning() makes of it.
[[nodiscard]] QString replaced(const QString &text, const QRegularExpression &expression,
                               const std::function<QString(const QRegularExpressionMatch &)> &meaning);
/// {70*x} is a text repeated.
[[nodiscard]] QString withRepetitions(const QString &text);

/// A line's cells, parted by "|" outside of double quotes and the blanks around it.
[[nodiscard]] QStringList cellsOf(const QString &line);
/// Without the double quotes around it.
[[nodiscard]] QString unquoted(const QString &cell);
/// What a cell says. One in double quotes keeps its blanks; \n \r \0 \x1a are control characters, {70*x} is a text
/// repeated.
[[nodiscard]] QString cellText(const QString &cell);

using TextRow = QHash<QString, QString>;

/// A test's data. The first line names the columns, the first column the rows.
void addRows(const QString &table);
/// The current row's text in a column.
[[nodiscard]] QString cell(const char *column);

/// A row of a test's data, with the column "steps", for each line of these files: "NAME: STEP / STEP / ...", continued
/// on indented lines. "#" begins a comment. "word WORD = TEXT" makes a word for the lines below it. In all steps ' stands
/// for a quotation mark and {70*x} for a text repeated. Throws std::runtime_error for a file that cannot be read.
void addTranscripts(const QStringList &fileNames);
