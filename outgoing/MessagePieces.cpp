#include "outgoing/MessagePieces.h"

using namespace Qt::StringLiterals;

qsizetype pieceEnd(QStringView text, qsizetype start, qsizetype maximumLength)
{
    if (text.size() - start <= maximumLength)
        return text.size();
    const qsizetype end = start + maximumLength;
    return text[end - 1].isHighSurrogate() && text[end].isLowSurrogate() ? end - 1 : end;
}

QStringList cutIntoPieces(const QString &text)
{
    QStringList pieces;
    QString marker;
    qsizetype start = 0;
    do {
        const qsizetype end = pieceEnd(text, start, maximumPieceLength - marker.size());
        pieces += marker + text.mid(start, end - start);
        start = end;
        marker = u"续"_s + QString::number(pieces.size()) + u"："_s;
    } while (start < text.size());
    return pieces;
}
