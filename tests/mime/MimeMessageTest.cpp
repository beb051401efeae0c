#include "mime/MimeMessage.h"

#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRandomGenerator>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

const QString mails = QStringLiteral(MAILS_FOLDER "/");

QByteArray fileContent(const QString &name)
{
    QFile file(mails + name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QJsonObject expectations()
{
    return QJsonDocument::fromJson(fileContent(u"expected.json"_s)).object();
}

/// What a reader sees of a message, in the form of expected.json.
QJsonObject seen(const MimeMessage &message)
{
    QJsonArray recipients;
    for (const MimeRecipient &recipient : message.Recipients())
        recipients.append(QJsonArray{recipient.ReType, recipient.EMail});
    QJsonArray attachments;
    for (const MimeAttachment &attachment : message.Attachments())
        attachments.append(QJsonObject{{u"name"_s, attachment.Name()},
                                       {u"contentType"_s, attachment.ContentType()},
                                       {u"data"_s, QString::fromLatin1(attachment.BinaryData().toBase64())}});
    const QString date = message.Date().isValid() ? message.Date().toUTC().toString(Qt::ISODate) : QString();
    return {{u"subject"_s, message.Subject()},   {u"contentType"_s, message.ContentType()},
            {u"body"_s, message.Body()},         {u"html"_s, message.HTMLBody()},
            {u"fromName"_s, message.FromName()}, {u"sender"_s, message.From()},
            {u"priority"_s, message.Priority()}, {u"date"_s, date},
            {u"recipients"_s, recipients},       {u"attachments"_s, attachments}};
}

QByteArray shown(const QJsonValue &value)
{
    return QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
}

/// Whatever the octets are, every member gives text that a database takes.
bool isFitForDatabases(const MimeMessage &message)
{
    const auto fit = [](const QString &text) { return !text.contains(QChar(u'\0')) && text.isValidUtf16(); };
    bool ok = fit(message.Subject()) && fit(message.Body()) && fit(message.HTMLBody()) &&
              fit(message.From()) && fit(message.FromName()) && fit(message.ContentType()) &&
              message.Priority() >= 1 && message.Priority() <= 5 && message.ContentType().contains(u'/');
    for (const MimeRecipient &recipient : message.Recipients())
        ok = ok && fit(recipient.EMail) && !recipient.EMail.isEmpty();
    for (const MimeAttachment &attachment : message.Attachments()) {
        ok = ok && fit(attachment.Name()) && !attachment.Name().isEmpty() &&
             !attachment.Name().contains(u'/') && fit(attachment.ContentType());
        static_cast<void>(attachment.BinaryData());
    }
    return ok;
}

QByteArray nested(int depth)
{
    QByteArray octets = "Subject: deep\r\n";
    for (int i = 0; i < depth; ++i) {
        const QByteArray boundary = "b" + QByteArray::number(i);
        octets += "Content-Type: multipart/mixed; boundary=" + boundary + "\r\n\r\n--" + boundary + "\r\n";
    }
    return octets + "Content-Type: text/plain\r\n\r\ninnermost";
}

} // namespace

class MimeMessageTest : public QObject
{
    Q_OBJECT

private slots:
    void sampleMails_data();
    void sampleMails();
    void dateIsLocal();
    void attachmentsOutliveTheMessage();
    void thousandsOfRecipients();
    void nestingIsBounded();
    void partsAreBounded();
    void plainReader();
    void hostileHeadersStayCheap_data();
    void hostileHeadersStayCheap();
    void everyTruncationGivesSomething();
    void mutantsGiveSomething();
};

void MimeMessageTest::sampleMails_data()
{
    QTest::addColumn<QString>("name");
    const QJsonObject all = expectations();
    QVERIFY(all.size() >= 40);
    for (const QString &name : all.keys())
        QTest::newRow(qPrintable(name)) << name;
}

void MimeMessageTest::sampleMails()
{
    QFETCH(QString, name);
    const QJsonObject expected = expectations().value(name).toObject();
    QVERIFY(QFile::exists(mails + name + u".eml"_s));
    const QJsonObject actual = seen(MimeMessage(fileContent(name + u".eml"_s)));
    for (const QString &field : expected.keys()) {
        const QByteArray is = shown(actual.value(field));
        const QByteArray shouldBe = shown(expected.value(field));
        QVERIFY2(is == shouldBe,
                 (field.toUtf8() + "\n  is        " + is + "\n  should be " + shouldBe).constData());
    }
}

void MimeMessageTest::dateIsLocal()
{
    const MimeMessage message("Date: Tue, 5 Mar 2024 10:04:06 +0800\r\n\r\n");
    QCOMPARE(message.Date().timeSpec(), Qt::LocalTime);
    QCOMPARE(MimeMessage("Date: 5 Mar 24 10:04\r\n\r\n").Date(), QDateTime({2024, 3, 5}, {10, 4}));
    QVERIFY(!MimeMessage("Date: Tue, 5 Mar 99999 10:04:06 +0800\r\n\r\n").Date().isValid());
    QVERIFY(!MimeMessage("Date: \r\n\r\n").Date().isValid());
}

void MimeMessageTest::attachmentsOutliveTheMessage()
{
    QList<MimeAttachment> attachments;
    {
        const MimeMessage message(fileContent(u"nested-multiparts.eml"_s));
        attachments = message.Attachments();
    }
    QCOMPARE(attachments.size(), 2);
    QVERIFY(attachments[0].BinaryData().startsWith("\x89PNG"));
    QCOMPARE(attachments[0].BinaryData(), attachments[0].BinaryData());
}

void MimeMessageTest::thousandsOfRecipients()
{
    QByteArray octets = "To: ";
    for (int i = 0; i < 5000; ++i)
        octets += "=?gb2312?B?1cXI/Q==?= <user" + QByteArray::number(i) + "@example.com>,\r\n ";
    octets += "last@example.com\r\n\r\n";
    const MimeMessage message(octets);
    QCOMPARE(message.Recipients().size(), 5001);
    QCOMPARE(message.Recipients()[4999].EMail, u"user4999@example.com"_s);
    QCOMPARE(message.Recipients()[5000].EMail, u"last@example.com"_s);
}

void MimeMessageTest::nestingIsBounded()
{
    QCOMPARE(MimeMessage(nested(32)).Body(), u"innermost"_s);
    const MimeMessage deeper(nested(33));
    QCOMPARE(deeper.Body(), QString());
    QCOMPARE(deeper.Attachments().size(), 1);
    QVERIFY(deeper.Attachments()[0].BinaryData().contains("innermost"));
    QVERIFY(isFitForDatabases(MimeMessage(nested(20'000))));
    const QByteArray enclosed = "Content-Type: message/rfc822\r\n\r\n";
    QVERIFY(isFitForDatabases(MimeMessage(enclosed.repeated(20'000) + "Subject: innermost\r\n\r\nx")));
    const QByteArray hostile = "To: " + QByteArray("g: a@b, ").repeated(100'000) + "\r\n\r\nx";
    QCOMPARE(MimeMessage(enclosed + hostile).Attachments().size(), 1);
}

void MimeMessageTest::partsAreBounded()
{
    const QByteArray head = "Content-Type: multipart/mixed; boundary=b\r\n\r\n";
    const QByteArray part = "--b\r\nContent-Type: image/png\r\n\r\n7\r\n";
    QCOMPARE(MimeMessage(head + part.repeated(2000)).Attachments().size(), 2000);
    const QByteArray octets = head + part.repeated(2001);
    const MimeMessage message(octets);
    QCOMPARE(message.Attachments().size(), 2001);
    QCOMPARE(message.Attachments()[1999].BinaryData(), QByteArray("7"));
    QCOMPARE(message.Attachments()[2000].Name(), u"邮件原文.eml"_s);
    QCOMPARE(message.Attachments()[2000].BinaryData(), octets);
    QCOMPARE(MimeMessage(head + QByteArray("--b\n").repeated(1'000'000)).Attachments().size(), 2000);
}

void MimeMessageTest::plainReader()
{
    const QByteArray octets = fileContent(u"qq-alternative.eml"_s);
    const MimeMessage plain = MimeMessage::readPlainly(octets);
    const MimeMessage whole(octets);
    QCOMPARE(plain.Subject(), whole.Subject());
    QCOMPARE(plain.FromName() + plain.From(), whole.FromName() + whole.From());
    QCOMPARE(plain.Date(), whole.Date());
    QCOMPARE(plain.ContentType() + plain.Body() + plain.HTMLBody(), u"text/plain"_s);
    QCOMPARE(plain.Attachments().size(), 1);
    QCOMPARE(plain.Attachments()[0].Name(), u"邮件原文.eml"_s);
    QCOMPARE(plain.Attachments()[0].BinaryData(), octets);
}

void MimeMessageTest::hostileHeadersStayCheap_data()
{
    QTest::addColumn<QByteArray>("unit");
    QTest::addColumn<QByteArray>("end");
    QTest::newRow("word-starts") << QByteArray("=?x") << QByteArray("?=");
    QTest::newRow("word-starts-with-charset") << QByteArray("=?a?b?") << QByteArray();
    QTest::newRow("words-of-many-charsets")
        << QByteArray("=?gb2312?B?1cU=?= =?utf-8?B?5L2g?= ") << QByteArray();
    QTest::newRow("quotes") << QByteArray(R"("a\" <)") << QByteArray(">");
    QTest::newRow("groups") << QByteArray("g: a@b, ") << QByteArray(";");
    QTest::newRow("words-of-unknown-encoding") << QByteArray("=?a?X? ") << QByteArray("?=");
    QTest::newRow("reader-of-freed-memory") << QByteArray("=?iso-2022-cn-ext?B?/w4=?=") << QByteArray();
    QTest::newRow("single-letters") << QByteArray(",a") << QByteArray();
    QTest::newRow("comments") << QByteArray("(") << QByteArray(")");
    QTest::newRow("folds") << QByteArray("\r\n ") << QByteArray("x");
}

void MimeMessageTest::hostileHeadersStayCheap()
{
    // CTest's time limit is the judge: quadratic work on this much would take far longer.
    QFETCH(QByteArray, unit);
    QFETCH(QByteArray, end);
    const QByteArray value = unit.repeated(200'000 / unit.size()) + end;
    for (const char *name : {"Subject: ", "To: ", "To : ", "From: ", "Date: ",
                             "Content-Type: text/plain; name=", "Content-Disposition: attachment; filename="})
        QVERIFY(isFitForDatabases(MimeMessage(name + value + "\r\n\r\nbody")));
}

void MimeMessageTest::everyTruncationGivesSomething()
{
    const QByteArray whole = fileContent(u"nested-multiparts.eml"_s);
    for (qsizetype octets = 0; octets <= whole.size(); ++octets) {
        const MimeMessage message(whole.first(octets));
        QVERIFY2(isFitForDatabases(message), qPrintable(u"cut after %1"_s.arg(octets)));
        if (octets >= whole.indexOf("Date:"))
            QCOMPARE(message.Subject(), u"测试"_s);
    }
}

void MimeMessageTest::mutantsGiveSomething()
{
    QRandomGenerator random(20240305); // the same mutants every time
    const QByteArrayList splices = {"--",
                                    "\r\n\r\n",
                                    "\n",
                                    "=?",
                                    "?=",
                                    "\0",
                                    "boundary=",
                                    ";",
                                    "\"",
                                    "Content-Type: ",
                                    "Content-Transfer-Encoding: base64\r\n",
                                    "\xff",
                                    "multipart/mixed",
                                    "message/rfc822"};
    for (const QString &name : expectations().keys()) {
        const QByteArray whole = fileContent(name + u".eml"_s);
        for (int i = 0; i < 40 && !whole.isEmpty(); ++i) {
            QByteArray mutant = whole;
            for (quint32 changes = random.bounded(1U, 8U); changes > 0; --changes) {
                const qsizetype at = random.bounded(static_cast<int>(mutant.size()));
                switch (random.bounded(4)) {
                case 0:
                    mutant[at] = static_cast<char>(random.bounded(256));
                    break;
                case 1:
                    mutant.insert(at, splices[random.bounded(static_cast<int>(splices.size()))]);
                    break;
                case 2:
                    mutant.remove(at, random.bounded(40));
                    mutant += '\n';
                    break;
                default:
                    mutant.insert(
                        at, whole.mid(random.bounded(static_cast<int>(whole.size())), random.bounded(80)));
                }
            }
            QVERIFY2(isFitForDatabases(MimeMessage(mutant)), (name.toUtf8() + ":\n" + mutant).constData());
        }
    }
}

QTEST_GUILESS_MAIN(MimeMessageTest)
#include "MimeMessageTest.moc"
