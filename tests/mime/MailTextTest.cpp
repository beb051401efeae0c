#include "mime/CharsetDecoder.h"
#include "mime/FileNames.h"
#include "tests/support/Rows.h"

using namespace Qt::StringLiterals;

/// The small decoders under the message object; whole mails are in MimeMessageTest.
class MailTextTest : public QObject
{
    Q_OBJECT

private slots:
    void charsets_data()
    {
        const Rows<QByteArray, QByteArray, QString> row("octets", "label", "text");
        row("gbk-ends-in-mid-character", "\xD6\xD0\xCE", "gbk", u"中\uFFFD"_s);
        row("utf-8-with-one-octet-lost", "\xE4\xB8\xAD\xE6\x96\x87\xE4\xB8\xE6\x96\x87", "utf-8",
            u"中文\uFFFD\uFFFD文"_s);
        row("overlong-utf-8-is-gbk", "\xC1\xAA\xCD\xA8", {}, u"联通"_s);
        row("GBK that is valid UTF-8", "\xC4\xA3\xC8\xB7", {}, u"模确"_s);
        row("GBK with octets that UTF-8 could have lost", "\xD6\xEC\xC7\xA7\xC4\xAF", {}, u"朱千寞"_s);
        row("Western and Greek letters stay", "Jos\xC3\xA9 \xCE\xB1\xCE\xB2", {}, u"José αβ"_s);
        row("big5-with-hong-kong", "\xAD\xBB\xB4\xE4\x9D\xEF\xA4\x48\x9D\xF6\xAB\xD7", "big5",
            u"香港嘅人喺度"_s);
        row("gbk-labelled-big5", "\xCE\xD2\xC3\xC7\xB5\xC4\xBB\xE1\xD2\xE9", "big5", u"我们的会议"_s);
        row("big5-with-rare-characters", "\xBB\x4F\xC6\x57\xC4\xB3\xC2\x49\xC9\xA1", "big5", u"臺灣議點氶"_s);
        row("euc-jp-with-nec-row", "\xB3\xF4\xBC\xB0\xAD\xA1\xAD\xEA", "EUC-JP", u"株式①㈱"_s);
        row("utf-8-with-latin-signs", "\xE4\xB8\xAD\xC2\xB7\xE6\x96\x87\xC3\x97\xC2\xB0", "gb2312",
            u"中·文×°"_s);
        row("one-bad-octet-in-a-long-text", QByteArray("\xA7\x41\xA6\x6E").repeated(20) + "\xFF\r\n", "big5",
            u"你好"_s.repeated(20) + u"\uFFFD\r\n"_s);
        row("converter-that-reads-on", "\xFF\x0E", "iso-2022-cn-ext", u"\uFFFD\u000E"_s);
        row("hostile-label", "abc", "../../etc\n//IGNORE", u"abc"_s);
    }
    void charsets()
    {
        QFETCH(QByteArray, octets);
        QFETCH(QByteArray, label);
        QTEST(decodeText(octets, label), "text");
    }

    void fileNames_data()
    {
        const Rows<QString, QString> row("given", "safe");
        row("plain", u"报告 1.doc"_s, u"报告 1.doc"_s);
        row("up-and-away", u"../../x"_s, u"x"_s);
        row("drive", u"C:\\a\\b.txt"_s, u"b.txt"_s);
        row("quoted-the-wrong-way", u"'a.txt'\u0001 "_s, u"a.txt"_s);
        row("only-a-path", u"a/"_s, QString());
        row("only-dots", u"..."_s, QString());
        row("stream", u"a.txt:evil"_s, u"a.txtevil"_s);
        row("hidden-direction", u"a\u202Efdp.exe"_s, u"afdp.exe"_s);
        row("device", u"CON"_s, u"_CON"_s);
        row("device-with-extension", u"nul.txt"_s, u"_nul.txt"_s);
        row("no-device", u"console.com1"_s, u"console.com1"_s);
        row("200-units", QString(196, u'a') + u".doc"_s, QString(196, u'a') + u".doc"_s);
        row("201-units", QString(197, u'a') + u".doc"_s, QString(196, u'a') + u".doc"_s);
        QTest::newRow("cut-spares-pairs")
            << QString(195, u'a') + u"😀b.doc"_s << QString(195, u'a') + u".doc"_s;
    }
    void fileNames()
    {
        QFETCH(QString, given);
        QTEST(safeFileName(given), "safe");
    }
};

QTEST_GUILESS_MAIN(MailTextTest)
#include "MailTextTest.moc"
