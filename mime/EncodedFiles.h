#pragma once

#include <QByteArray>
#include <optional>

enum class EncodedFileKind { Uuencode, Yenc };

/// A file that a text carries between a "begin" and an "end" line.
struct EncodedFile {
    QByteArray name; // as the text gives it
    QByteArray octets;
    qsizetype start = 0; // in the text, of the first line
    qsizetype end = 0;   // behind the last
};

/// The first file of that kind at or after at. Uuencode: lines that lost blanks at their ends are read, and a
/// file without its end is taken as far as it goes only when nothing else follows it.
[[nodiscard]] std::optional<EncodedFile> findEncodedFile(QByteArrayView text, qsizetype at,
                                                         EncodedFileKind kind);
