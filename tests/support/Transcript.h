#pragma once

#include <QString>
#include <QStringList>
#include <QTest>

/// A dialogue with a modem, step by step.
struct Transcript {
    QString name;
    QStringList steps;
};

/// The transcripts of a file, one a line: "NAME: STEP / STEP / ...", continued on indented lines. "#" begins a
/// comment. "word WORD = TEXT" makes a word for the lines below it. In all steps ' stands for a quotation mark and
/// {70*x} for a text repeated. Throws std::runtime_error for a file that cannot be read.
[[nodiscard]] QList<Transcript> readTranscripts(const QString &fileName);

/// A row of a test's data, with the column "steps", for each transcript of these files.
inline void addTranscripts(const QStringList &fileNames)
{
    QTest::addColumn<QStringList>("steps");
    for (const QString &fileName : fileNames) {
        for (const Transcript &transcript : readTranscripts(fileName))
            QTest::newRow(qPrintable(transcript.name)) << transcript.steps;
    }
}

/// Performs the current row's steps until one comes otherwise than written: that step and what came; else "".
template <typename Player>
[[nodiscard]] QString firstDifference(Player &player)
{
    QFETCH(QStringList, steps);
    for (const QString &step : steps) {
        const QString difference = player.perform(step);
        if (!difference.isEmpty())
            return QStringLiteral("at \"%1\": %2").arg(step.left(80), difference);
    }
    return {};
}
