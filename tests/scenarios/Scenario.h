#pragma once

#include <QList>
#include <QStringList>

/// One line of a scenario and the rows indented below it, as cellsOf() parts them.
struct ScenarioStep {
    QString text;
    QList<QStringList> rows;
    int line = 0;
};

/// What an office does and what its tables and log then hold, as a text tells it.
struct Scenario {
    QString name;  ///< with the case's, where there are cases
    QString place; ///< "on every schema", "on SQLite", "on servers" or, as a rule, nothing
    QList<ScenarioStep> steps;
    bool isFirstCase = true; ///< what every database is tried with, as a rule; the others on SQLite
};

/// The scenarios of a file. "== NAME" begins one; "#" begins a comment; "on ..." says where it runs. "cases: name |
/// X | Y" and its rows at the end make one of each row, with <X> and <Y> replaced; a row that is a placeholder
/// alone becomes as many rows as the value has, separated by " / " and each in double quotes where it has several
/// cells, and none for "-". Throws std::runtime_error for a file that cannot be read.
[[nodiscard]] QList<Scenario> readScenarios(const QString &fileName);
