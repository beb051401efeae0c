#include "platform/pop3/CharsetDecoder.h"
#include "platform/pop3/DotUnstuffer.h"
#include "platform/pop3/FileNames.h"
#include "platform/pop3/HeaderDecoder.h"
#include <QTest>

using namespace Qt::StringLiterals;

/// The small decoders under the message object and the client; whole mails are in MimeMessageTest.
class MailTextTest : public QObject
{
    Q_OBJECT

private slots:
    void charsets_data();
    void charsets();
    void headersForParsers_data();
    void headersForParsers();
    void fileNames_data();
    void fileNames();
    void dotsInPiecesOfAnySize_data();
    void dotsInPiecesOfAnySize();
};

void MailTextTest::charsets_data()
{
    QTest::addColumn<QByteArray>("octets");
    QTest::addColumn<QByteArray>("label");
    QTest::addColumn<QString>("text");
    const auto row = [](const char *name, const QByteArray &octets, const QByteArray &label,
                        const QString &text) { QTest::newRow(name) << octets << label << text; };
    row("empty", {}, "gbk", {});
    row("label-in-quotes", "\xD6\xD0", " 'GB2312' ", u"中"_s);
    row("gbk-ends-in-mid-character", "\xD6\xD0\xCE", "gbk", u"中\uFFFD"_s);
    row("utf-8-with-one-octet-lost", "\xE4\xB8\xAD\xE6\x96\x87\xE4\xB8\xE6\x96\x87", "utf-8",
        u"中文\uFFFD\uFFFD文"_s);
    row("overlong-utf-8-is-gbk", "\xC1\xAA\xCD\xA8", {}, u"联通"_s);
    row("latin-1-single-pair-stays", "na\xEFve \xE9t\xE9", "iso-8859-1", u"naïve été"_s);
    row("windows-1252-quotes", "\x93x\x94", "iso-8859-1", u"“x”"_s);
    row("hz-with-line-end-in-chinese", "~{VP\nab", "hz", u"中\nab"_s);
    row("nul", QByteArray("a\0b", 3), "utf-8", u"a\uFFFDb"_s);
    row("hostile-label", "abc", "../../etc\n//IGNORE", u"abc"_s);
}

void MailTextTest::charsets()
{
    QFETCH(QByteArray, octets);
    QFETCH(QByteArray, label);
    QTEST(decodeText(octets, label), "text");
}

void MailTextTest::headersForParsers_data()
{
    QTest::addColumn<QByteArray>("raw");
    QTest::addColumn<QByteArray>("normal");
    QTest::newRow("plain") << QByteArray(" a <a@b>\r\n") << QByteArray("a <a@b>");
    QTest::newRow("folded") << QByteArray(" a,\r\n\tb") << QByteArray("a, b");
    QTest::newRow("backslash-in-gbk")
        << QByteArray("\"\x81\x5C\" <a@b>") << QByteArray("\"\xE4\xB9\x97\" <a@b>");
    QTest::newRow("word-touches-address")
        << QByteArray("=?gb2312?B?1cU=?=<a@b>") << QByteArray("=?utf-8?B?5byg?= <a@b>");
    QTest::newRow("words-joined") << QByteArray("=?gbk?Q?=D5?=\r\n =?GBK?Q?=C5?= x")
                                  << QByteArray("=?utf-8?B?5byg?= x");
    QTest::newRow("unfinished-word") << QByteArray("=?gbk?B?1cU") << QByteArray("=?gbk?B?1cU");
    QTest::newRow("bad-encoding") << QByteArray("=?gbk?X?1cU=?=") << QByteArray("=?gbk?X?1cU=?=");
}

void MailTextTest::headersForParsers()
{
    QFETCH(QByteArray, raw);
    QTEST(normaliseHeader(raw), "normal");
}

void MailTextTest::fileNames_data()
{
    QTest::addColumn<QString>("given");
    QTest::addColumn<QString>("safe");
    QTest::newRow("plain") << u"报告 1.doc"_s << u"报告 1.doc"_s;
    QTest::newRow("up-and-away") << u"../../x"_s << u"x"_s;
    QTest::newRow("drive") << u"C:\\a\\b.txt"_s << u"b.txt"_s;
    QTest::newRow("only-a-path") << u"a/"_s << QString();
    QTest::newRow("only-dots") << u"..."_s << QString();
    QTest::newRow("stream") << u"a.txt:evil"_s << u"a.txtevil"_s;
    QTest::newRow("hidden-direction") << u"a\u202Efdp.exe"_s << u"afdp.exe"_s;
    QTest::newRow("200-units") << QString(196, u'a') + u".doc"_s << QString(196, u'a') + u".doc"_s;
    QTest::newRow("201-units") << QString(197, u'a') + u".doc"_s << QString(196, u'a') + u".doc"_s;
    QTest::newRow("cut-spares-pairs") << QString(195, u'a') + u"😀b.doc"_s << QString(195, u'a') + u".doc"_s;
}

void MailTextTest::fileNames()
{
    QFETCH(QString, given);
    QTEST(safeFileName(given), "safe");
}

void MailTextTest::dotsInPiecesOfAnySize_data()
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

void MailTextTest::dotsInPiecesOfAnySize()
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

QTEST_GUILESS_MAIN(MailTextTest)
#include "MailTextTest.moc"
