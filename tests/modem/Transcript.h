#pragma once

#include <QString>
#include <QStringList>

/// A dialogue with a modem, step by step.
struct Transcript {
    QString name;
    QStringList steps;
};

/// The transcripts of a file, one a line: "NAME: STEP / STEP / ...", continued on indented lines. "#" begins a
/// comment. "word WORD = TEXT" makes a word for the lines below it. In all steps ' stands for a quotation mark and
/// {70*x} for a text repeated. Throws std::runtime_error for a file that cannot be read.
[[nodiscard]] QList<Transcript> readTranscripts(const QString &fileName);
