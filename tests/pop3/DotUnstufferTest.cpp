#include "pop3/DotUnstuffer.h"

#include <QTest>

class DotUnstufferTest : public QObject
{
    Q_OBJECT

private slots:
    void dotsInPiecesOfAnySize_data();
    void dotsInPiecesOfAnySize();
};

void DotUnstufferTest::dotsInPiecesOfAnySize_data()
{
    QTest::addColumn<bool>("bareLineFeeds");
    QTest::addColumn<QByteArray>("wire");
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("empty") << false << QByteArray(".\r\n") << QByteArray();
    QTest::newRow("stuffed") << false << QByteArray("..\r\n...a\r\n.\r\n") << QByteArray(".\r\n..a\r\n");
    QTest::newRow("dot-not-stuffed") << false << QByteArray(".a\r\n.\r\n") << QByteArray("a\r\n");
    QTest::newRow("dot-cr-text") << false << QByteArray(".\rx\r\n.\r\n") << QByteArray("\rx\r\n");
    QTest::newRow("lf-inside") << false << QByteArray("a\n.\nb\r\n.\r\n") << QByteArray("a\n.\nb\r\n");
    QTest::newRow("cr-inside") << false << QByteArray("a\r.\r\r\n.\r\n") << QByteArray("a\r.\r\r\n");
    QTest::newRow("bare-line-feeds") << true << QByteArray("a\n..\n.\n") << QByteArray("a\n.\n");
}

void DotUnstufferTest::dotsInPiecesOfAnySize()
{
    QFETCH(bool, bareLineFeeds);
    QFETCH(QByteArray, wire);
    for (qsizetype piece = 1; piece <= wire.size() + 5; ++piece) {
        DotUnstuffer unstuffer(bareLineFeeds);
        const QByteArray sent = wire + "+OK n"; // what follows belongs to the next answer
        QByteArray content;
        qsizetype at = 0;
        while (!unstuffer.finished() && at < sent.size())
            at += unstuffer.consume(QByteArrayView(sent).sliced(at, qMin(piece, sent.size() - at)), content);
        QCOMPARE(at, wire.size());
        QTEST(content, "content");
    }
}

QTEST_GUILESS_MAIN(DotUnstufferTest)
#include "DotUnstufferTest.moc"
