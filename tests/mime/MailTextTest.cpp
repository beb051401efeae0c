#include "mime/FileNames.h"
#include "tests/support/Rows.h"

using namespace Qt::StringLiterals;

/// What becomes of the names of attachments.
class MailTextTest : public QObject
{
    Q_OBJECT

private slots:
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
