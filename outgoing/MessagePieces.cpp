#include "outgoing/MessagePieces.h"

using namespace Qt::StringLiterals;

QStringList cutIntoPieces(const QString &text)
{
    QStringList pieces;
    QString marker;
    qsizetype start = 0;
    do {
        qsizetype length = qMin(maximumPieceLength - marker.size(), text.size() - start);
        const qsizetype end = start + length;
        if (end < text.size() && text[end - 1].isHighSurrogate() && text[end].isLowSurrogate())
            --length;
        pieces += marker + text.mid(start, length);
        start += length;
        marker = u"续"_s + QString::number(pieces.size()) + u"："_s;
    } while (start < text.size());
    return pieces;
}
