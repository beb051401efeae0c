#include "mailbox/getPopMail.h"
#include "tests/support/DovecotServer.h"
#include "tests/support/Loopback.h"
#include "tests/support/MailOffice.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

QByteArray sample(const QString &name)
{
    QFile file(QStringLiteral(MAILS_FOLDER "/") + name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// The addresses of one kind as the table shows them.
QString addresses(const QJsonArray &recipients, bool isTo)
{
    QStringList list;
    for (const auto &recipient : recipients) {
        if ((recipient[0].toInt() == 0) == isTo)
            list += recipient[1].toString();
    }
    return list.join(u", "_s);
}

QString shownContent(const QJsonObject &mail)
{
    const QString type = mail.value(u"contentType"_s).toString();
    if (type == u"multipart/alternative"_s || type == u"text/plain"_s)
        return u"<pre>"_s + mail.value(u"body"_s).toString() + u"</pre><br>"_s;
    return mail.value(u"html"_s).toString();
}

} // namespace

/// Collecting from a real server, Dovecot.
class getPopMailTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<DovecotServer> m_server;
    std::unique_ptr<MailOffice> m_office;
    QString m_box; // a mailbox for each case
    int m_boxes = 0;

    void deliver(const QByteArray &octets) { m_server->deliver(m_box, octets); }
    void account(int key = 7, const QVariant &isBaoLiu = 1)
    {
        m_office->account(key, u"user12"_s, m_server->port(), isBaoLiu, m_box);
    }
    QStringList mails(const QString &columns) { return m_office->mails(columns); }

private slots:
    void initTestCase()
    {
        m_server = std::make_unique<DovecotServer>();
        QVERIFY2(m_server->problem().isEmpty(), qPrintable(m_server->problem()));
    }
    void init()
    {
        m_office = std::make_unique<MailOffice>();
        m_box = u"box%1"_s.arg(++m_boxes);
    }
    void cleanup()
    {
        QCOMPARE(m_office->console.takeLog(), QStringList());
        QVERIFY(!m_office->databaseGone);
    }

    void sampleMailsFieldByField()
    {
        const QJsonObject all = QJsonDocument::fromJson(sample(u"expected.json"_s)).object();
        QVERIFY(all.size() >= 40);
        for (const QString &name : all.keys())
            deliver(sample(name + u".eml"_s));
        account();
        m_office->collect();
        QCOMPARE(m_office->notes, QStringList());
        QCOMPARE(mails(u"1"_s).size(), all.size());
        int number = 0;
        for (const QString &name : all.keys()) {
            const QJsonObject mail = all.value(name).toObject();
            const QVariant key = ++number;
            const auto check = [&](const QString &column, const QString &shouldBe) {
                const QString is =
                    m_office->rows(u"select %1 from VO_Email where VOID=?"_s.arg(column), {key}).value(0);
                // What mails go through on their way: CR LF line ends.
                if (QString(is).remove(u'\r') != QString(shouldBe).remove(u'\r'))
                    QFAIL(qPrintable(u"%1, %2: %3 should be %4"_s.arg(name, column, is, shouldBe)));
            };
            if (mail.contains(u"subject"_s)) {
                const QString subject = mail.value(u"subject"_s).toString();
                check(u"EmailSubject"_s, subject.trimmed().isEmpty() ? u"无标题"_s : subject);
            }
            if (mail.contains(u"contentType"_s) && mail.contains(u"body"_s) && mail.contains(u"html"_s))
                check(u"EmailContent"_s, shownContent(mail));
            if (mail.contains(u"fromName"_s))
                check(u"EmailFromName"_s, mail.value(u"fromName"_s).toString());
            if (mail.contains(u"sender"_s))
                check(u"EmailFrom"_s, mail.value(u"sender"_s).toString());
            if (mail.contains(u"priority"_s))
                check(u"ImpDegree"_s, QString::number(mail.value(u"priority"_s).toInt()));
            if (mail.contains(u"recipients"_s)) {
                check(u"EmailToDis"_s, addresses(mail.value(u"recipients"_s).toArray(), true));
                check(u"EmailCC"_s, addresses(mail.value(u"recipients"_s).toArray(), false));
            }
            const QJsonArray attachments = mail.value(u"attachments"_s).toArray();
            QStringList shouldBe;
            for (const auto &attachment : attachments) {
                const QByteArray data = QByteArray::fromBase64(attachment[u"data"_s].toString().toLatin1());
                shouldBe +=
                    QStringList{attachment[u"name"_s].toString(), attachment[u"name"_s].toString(),
                                attachment[u"contentType"_s].toString(), QString::fromLatin1(data.toHex())}
                        .join(u'|');
            }
            if (mail.contains(u"attachments"_s) && name != u"cut-inside-an-attachment"_s) {
                QStringList is =
                    m_office->rows(u"select FileName, FileTitle, FileType, lower(hex(FileContent))"
                                   " from VO_EmailAttachments where EmailID=? order by OAID"_s,
                                   {key});
                // Text attachments get the line ends of the line too.
                is.replaceInStrings(u"0d0a"_s, u"0a"_s);
                shouldBe.replaceInStrings(u"0d0a"_s, u"0a"_s);
                if (is != shouldBe)
                    QFAIL(qPrintable(name + u": "_s + is.join(u'\n').left(500)));
            }
        }
    }

    void fixedColumns()
    {
        m_office->account(9, u"o'neil"_s, m_server->port(), 1, m_box);
        deliver(mailWith("Date: Sun, 05 Mar 2006 07:08:09 +0000\nTo: someone@else.example"));
        m_office->collect(u"o'neil"_s);
        const QString local =
            QDateTime({2006, 3, 5}, {7, 8, 9}, Qt::UTC).toLocalTime().toString(u"yyyy-MM-dd HH:mm:ss"_s);
        QCOMPARE(mails(u"EmailStatus, EmailTo, EOAID, EmailSource, EmailDate"_s),
                 QStringList(u"1|*o'neil-0-0-0*|9|2|"_s + local));
        QVERIFY(!mails(u"MSGID"_s).value(0).isEmpty());
    }

    void columnsOfAMail_data()
    {
        QTest::addColumn<QByteArray>("headers");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("row");
        QTest::addColumn<QString>("columns");
        const auto content = [](const char *name, const QByteArray &headers, const QByteArray &body,
                                const QString &row) {
            QTest::newRow(name) << headers << body << row << u"EmailSubject, EmailContent"_s;
        };
        const auto recipients = [](const char *name, const QByteArray &headers, const QString &row) {
            QTest::newRow(name) << headers << QByteArray() << row << u"EmailToDis, EmailCC"_s;
        };
        const QByteArray mixed =
            "--b\nContent-Type: text/plain\n\ntext\n--b\nContent-Type: text/html\n\n<i>h</i>\n--b--\n";
        const QByteArray plainOnly = "--b\nContent-Type: text/plain\n\ntext\n--b--\n";
        content("plain, unescaped", "Subject: s\nContent-Type: text/plain", "a<b\n",
                u"s|<pre>a<b</pre><br>"_s);
        content("no type at all", "Subject: s", "a\n", u"s|<pre>a</pre><br>"_s);
        content("alternative", "Subject: s\nContent-Type: multipart/alternative; boundary=b", mixed,
                u"s|<pre>text</pre><br>"_s);
        content("mixed", "Subject: s\nContent-Type: multipart/mixed; boundary=b", mixed, u"s|<i>h</i>"_s);
        content("mixed without HTML", "Subject: s\nContent-Type: multipart/mixed; boundary=b", plainOnly,
                u"s|"_s);
        content("other letter case", "Subject: s\nContent-Type: Text/Plain", "a\n", u"s|"_s);
        content("subject of blanks", "Subject:    \nContent-Type: text/html", "\n", u"无标题|"_s);
        content("subject missing", "Content-Type: text/html", "<b>x</b>\n", u"无标题|<b>x</b>"_s);
        content("blanks around the subject", "Subject:  Hi \nContent-Type: text/html", "\n", u" Hi |"_s);
        content("quotes", "Subject: it's \"so\"\nContent-Type: text/html", "'\n", u"it's \"so\"|'"_s);
        recipients("to, cc, to", "To: a@x\nCC: b@x\nTo: c@x", u"a@x, c@x|b@x"_s);
        recipients("to, to, cc", "To: A <a@x>, b@x\nCC: c@x", u"a@x, b@x|c@x"_s);
        recipients("bcc goes to cc", "Bcc: d@x\nCC: c@x", u"|d@x, c@x"_s);
        recipients("none", "Subject: s", u"|"_s);
    }
    void columnsOfAMail()
    {
        QFETCH(QByteArray, headers);
        QFETCH(QByteArray, body);
        QFETCH(QString, row);
        QFETCH(QString, columns);
        deliver(mailWith(headers, body));
        account();
        m_office->collect();
        QCOMPARE(mails(columns), QStringList(row));
    }

    void attachmentsInOrder()
    {
        deliver(mailWith(
            "Content-Type: multipart/mixed; boundary=b",
            "--b\nContent-Type: application/zip; name=a.zip\nContent-Disposition: attachment\n"
            "Content-Transfer-Encoding: base64\n\nAAH/\n"
            "--b\nContent-Type: Image/PNG; name=b.png\nContent-Disposition: attachment\n\n\n--b--\n"));
        deliver(mailWith("Subject: none"));
        account();
        m_office->collect();
        QCOMPARE(mails(u"VOID"_s).size(), 2);
        QCOMPARE(m_office->attachments(),
                 (QStringList{u"1|a.zip|a.zip|application/zip|0001FF"_s, u"1|b.png|b.png|Image/PNG|"_s}));
        QCOMPARE(m_office->rows(u"select count(*) from VO_EmailAttachments where FileContent is null"_s),
                 QStringList(u"0"_s));
    }

    void accountsInOrderAndEachMessageOnce()
    {
        const QString other = m_box + u"b"_s;
        deliver(mailWith("Subject: one"));
        m_server->deliver(other, mailWith("Subject: two"));
        m_office->account(8, u"user12"_s, m_server->port(), 1, other);
        m_office->account(5, u"user12"_s, m_server->port(), 1, m_box);
        m_office->account(6, u"user13"_s, m_server->port(), 1, m_box);
        m_office->collect();
        deliver(mailWith("Subject: three"));
        m_office->collect();
        m_office->collect(u"nobody"_s);
        m_office->collect(u"user12' or '1'='1"_s);
        QStringList mails = this->mails(u"EOAID, EmailSubject"_s);
        mails.sort();
        QCOMPARE(mails, (QStringList{u"5|one"_s, u"5|three"_s, u"8|two"_s}));
        // The same unique id in another account is another mail.
        m_office->collect(u"user13"_s);
        QCOMPARE(this->mails(u"EOAID"_s).count(u"6"_s), 2);
    }

    void serverCopies_data()
    {
        QTest::addColumn<QVariant>("isBaoLiu");
        QTest::addColumn<int>("left");
        QTest::newRow("kept") << QVariant(u"1"_s) << 2;
        QTest::newRow("kept without a word") << QVariant() << 2;
        QTest::newRow("deleted") << QVariant(0) << 0;
    }
    void serverCopies()
    {
        QFETCH(QVariant, isBaoLiu);
        deliver(mailWith("Subject: one"));
        account(); // keeps
        m_office->collect();
        QCOMPARE(m_server->stored(m_box), 1);
        deliver(mailWith("Subject: two"));
        m_office->oa(u"update SA_email set IsBaoLiu=?"_s, {isBaoLiu});
        m_office->collect();
        QCOMPARE(mails(u"EmailSubject"_s), (QStringList{u"one"_s, u"two"_s}));
        QTEST(m_server->stored(m_box), "left");
    }

    void refusedMessageIsSparedFromDeletion()
    {
        m_office->oa(u"create trigger refuse before insert on VO_Email when new.EmailSubject='bad'"
                     " or new.EmailSubject is null begin select raise(abort, 'no'); end"_s);
        for (const char *subject : {"one", "bad", "three"})
            deliver(mailWith(QByteArray("Subject: ") + subject));
        account(7, 0);
        m_office->collect();
        QCOMPARE(mails(u"EmailSubject"_s), (QStringList{u"one"_s, u"three"_s}));
        QCOMPARE(m_server->stored(m_box), 1);
        QCOMPARE(m_office->notes.size(), 1);
        m_office->oa(u"drop trigger refuse"_s);
        m_office->collect();
        QCOMPARE(mails(u"EmailSubject"_s), (QStringList{u"one"_s, u"three"_s, u"bad"_s}));
        QCOMPARE(m_server->stored(m_box), 0);
    }

    void badAccountsBetweenGoodOnes()
    {
        deliver(mailWith("Subject: one"));
        m_server->deliver(m_box + u"b"_s, mailWith("Subject: two"));
        account(1);
        m_office->account(2, u"user12"_s, m_server->port(), 0, m_box, u"wrong"_s);
        m_office->account(3, u"user12"_s, freeLoopbackPort(), 0, m_box);
        m_office->oa(u"insert into SA_email (OAID, UserName) values (4, 'user12')"_s);
        m_office->oa(u"insert into SA_email (OAID, UserName, POPIP, PopPort, EUsername, EPassword) values"
                     " (5, 'user12', 'no such host', 110, 'x' || char(13,10) || 'DELE 1', 'y')"_s);
        m_office->account(6, u"user12"_s, m_server->port(), 1, m_box + u"b"_s);
        m_office->collect();
        QCOMPARE(mails(u"EOAID, EmailSubject"_s), (QStringList{u"1|one"_s, u"6|two"_s}));
        QCOMPARE(m_office->notes.size(), 4);
        QVERIFY(!m_office->notes.join(u' ').contains(DovecotServer::password()));
    }
};

QTEST_GUILESS_MAIN(getPopMailTest)
#include "getPopMailTest.moc"
