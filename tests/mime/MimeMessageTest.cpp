#include "tests/mime/FitForDatabases.h"
#include "tests/support/Rows.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

QByteArray fileContent(const QString &name)
{
    QFile file(QStringLiteral(MAILS_FOLDER "/") + name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
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
    void sampleMails_data()
    {
        QTest::addColumn<QJsonObject>("expected");
        const QJsonObject all = QJsonDocument::fromJson(fileContent(u"expected.json"_s)).object();
        QVERIFY(all.size() >= 40);
        for (const QString &name : all.keys())
            QTest::newRow(qPrintable(name)) << all.value(name).toObject();
    }
    void sampleMails()
    {
        QFETCH(QJsonObject, expected);
        const QString name = QString::fromUtf8(QTest::currentDataTag()) + u".eml"_s;
        const QJsonObject actual = seen(MimeMessage(fileContent(name)));
        for (const QString &field : expected.keys())
            QCOMPARE(field.toUtf8() + shown(actual.value(field)),
                     field.toUtf8() + shown(expected.value(field)));
    }

    void dateIsLocal()
    {
        QCOMPARE(MimeMessage("Date: 5 Mar 24 10:04 +0800\r\n\r\n").Date().timeSpec(), Qt::LocalTime);
        QCOMPARE(MimeMessage("Date: 5 Mar 24 10:04\r\n\r\n").Date(), QDateTime({2024, 3, 5}, {10, 4}));
    }

    void nestingIsBounded()
    {
        QCOMPARE(MimeMessage(nested(32)).Body(), u"innermost"_s);
        const MimeMessage deeper(nested(33));
        QCOMPARE(deeper.Body(), QString());
        QCOMPARE(deeper.Attachments().size(), 1);
        QVERIFY(deeper.Attachments()[0].BinaryData().contains("innermost"));
        QVERIFY(isFitForDatabases(MimeMessage(nested(20'000))));
    }

    void partsAreBounded()
    {
        const QByteArray head = "Content-Type: multipart/mixed; boundary=b\r\n\r\n";
        const QByteArray part = "--b\r\nContent-Type: image/png\r\n\r\n7\r\n";
        QCOMPARE(MimeMessage(head + part.repeated(2000)).Attachments().size(), 2000);
        const QByteArray octets = head + part.repeated(2001);
        const QList<MimeAttachment> attachments = MimeMessage(octets).Attachments();
        QCOMPARE(attachments.size(), 2001);
        QCOMPARE(attachments[1999].BinaryData(), "7"_ba);
        QCOMPARE(attachments[2000].Name(), u"邮件原文.eml"_s);
        QCOMPARE(attachments[2000].BinaryData(), octets);
    }

    void plainReader()
    {
        const QByteArray octets = fileContent(u"qq-alternative.eml"_s);
        const MimeMessage plain = MimeMessage::readPlainly(octets);
        QCOMPARE(plain.Subject() + plain.FromName() + plain.Body() + plain.HTMLBody(), u"测试张三"_s);
        QCOMPARE(plain.Attachments().size(), 1);
        QCOMPARE(plain.Attachments()[0].BinaryData(), octets);
    }

    void hostileHeadersStayCheap()
    {
        // CTest's time limit is the judge: quadratic work on this much would take far longer.
        for (const QByteArray unit :
             {"=?x", "=?a?b?", "=?gb2312?B?1cU=?= =?utf-8?B?5L2g?= ", R"("a\" <)", "g: a@b, ", "=?a?X? ",
              "=?iso-2022-cn-ext?B?/w4=?=", ",a", "(", "\r\n "}) {
            const QByteArray value = unit.repeated(200'000 / unit.size()) + "?=>;)x";
            for (const char *name : {"Subject: ", "To : ", "Date: ", "Content-Type: text/plain; name="})
                QVERIFY2(isFitForDatabases(MimeMessage(name + value + "\r\n\r\nbody")), unit);
        }
    }

    void everyTruncationGivesSomething()
    {
        const QByteArray whole = fileContent(u"nested-multiparts.eml"_s);
        for (qsizetype octets = 0; octets <= whole.size(); ++octets) {
            const MimeMessage message(whole.first(octets));
            QVERIFY2(isFitForDatabases(message), "cut after " + QByteArray::number(octets));
            if (octets >= whole.indexOf("Date:"))
                QCOMPARE(message.Subject(), u"测试"_s);
        }
    }
};

QTEST_GUILESS_MAIN(MimeMessageTest)
#include "MimeMessageTest.moc"
