#include "pop3/DotUnstuffer.h"
#include "tests/support/Rows.h"

class DotUnstufferTest : public QObject
{
    Q_OBJECT

private slots:
    void dotsInPiecesOfAnySize_data()
    {
        const Rows<QByteArray, QByteArray> row("wire", "content");
        row("empty", ".\r\n", "");
        row("stuffed", "..\r\n...a\r\n.\r\n", ".\r\n..a\r\n");
        row("not stuffed", ".a\r\n.\r\n", "a\r\n");
        row("dot, CR, text", ".\rx\r\n.\r\n", "\rx\r\n");
        row("LF inside", "a\n.\nb\r\n.\r\n", "a\n.\nb\r\n");
        row("CR inside", "a\r.\r\r\n.\r\n", "a\r.\r\r\n");
        row("LF only", "a\n..\n.\n", "a\n.\n");
    }
    void dotsInPiecesOfAnySize()
    {
        QFETCH(QByteArray, wire);
        for (qsizetype piece = 1; piece <= wire.size() + 5; ++piece) {
            DotUnstuffer unstuffer(!wire.contains("\r\n"));
            const QByteArray sent = wire + "+OK n"; // what follows belongs to the next answer
            QByteArray content;
            qsizetype at = 0;
            while (!unstuffer.finished() && at < sent.size())
                at += unstuffer.consume(QByteArrayView(sent).sliced(at, qMin(piece, sent.size() - at)),
                                        content);
            QCOMPARE(at, wire.size());
            QTEST(content, "content");
        }
    }
};

QTEST_GUILESS_MAIN(DotUnstufferTest)
#include "DotUnstufferTest.moc"
