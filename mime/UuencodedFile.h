#pragma once

#include <QByteArray>
#include <optional>

/// A file that a text carries between a "begin" and an "end" line.
struct UuencodedFile {
    QByteArray name; // as the text gives it
    QByteArray octets;
    qsizetype start = 0; // in the text, of the first line
    qsizetype end = 0;   // behind the last
};

/// The first such file at or after at. Lines that lost blanks at their ends are read, and a file without its end is taken
/// as far as it goes only when nothing else follows it.
[[nodiscard]] std::optional<UuencodedFile> findUuencodedFile(QByteArrayView text, qsizetype at);
