#pragma once

#include <QStringList>

/// Characters (UTF-16 units) of one piece at most: what one SMS holds in UCS-2.
inline constexpr qsizetype maximumPieceLength = 70;

/// Where a piece that begins at start and has at most this many UTF-16 units ends: at the text's end, or one
/// unit early rather than inside a surrogate pair.
[[nodiscard]] qsizetype pieceEnd(QStringView text, qsizetype start, qsizetype maximumLength);

/// Cuts a text into pieces of at most 70 UTF-16 units each. Piece n (2 or more) begins with the marker "续",
/// n-1 and "：", which counts. A surrogate pair is never cut: it moves to the next piece as a whole. An empty
/// text gives one empty piece, a null text one null piece.
[[nodiscard]] QStringList cutIntoPieces(const QString &text);
