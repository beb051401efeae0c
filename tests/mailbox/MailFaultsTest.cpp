#include "tests/support/Loopback.h"
#include "tests/support/MailOffice.h"
#include "tests/support/ScriptedPop3Server.h"

#include <QTest>

using namespace Qt::StringLiterals;

using Script = ScriptedPop3Server::Script;

namespace
{

QByteArray withAttachment(int number)
{
    return "Subject: " + QByteArray::number(number) +
           "\r\nContent-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\nContent-Type: text/html\r\n\r\nx\r\n"
           "--b\r\nContent-Type: application/pdf; name=a.pdf\r\n\r\n" +
           QByteArray(50, 'a') + "\r\n--b--\r\n";
}

QByteArrayList messages(int count)
{
    QByteArrayList list;
    for (int number = 1; number <= count; ++number)
        list += withAttachment(number);
    return list;
}

} // namespace

/// Collecting from servers and into databases that fail at the worst moments.
class MailFaultsTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<MailOffice> m_office;

    void account(const ScriptedPop3Server &server, const QVariant &isBaoLiu = 0, int key = 7)
    {
        m_office->account(key, u"user12"_s, server.port(), isBaoLiu, u"box"_s, u"pass"_s);
    }
    QStringList subjects() { return m_office->mails(u"EmailSubject"_s); }

private slots:
    void init() { m_office = std::make_unique<MailOffice>(); }
    void cleanup() { QCOMPARE(m_office->console.takeLog(), QStringList()); }

    void lineCutAnywhere()
    {
        ScriptedPop3Server::Script script;
        script.messages = messages(3);
        qint64 wholeSession = 0;
        {
            MailOffice office;
            const ScriptedPop3Server server(script);
            office.account(7, u"user12"_s, server.port(), 0, u"box"_s, u"pass"_s);
            office.collect();
            QCOMPARE(server.deleted().size(), 3);
            wholeSession = server.sentOctets();
        }
        for (qint64 octets = 1; octets <= wholeSession; octets += 17) {
            m_office = std::make_unique<MailOffice>();
            script.cutAfterOctets = octets;
            const ScriptedPop3Server server(script);
            account(server);
            m_office->collect();
            m_office->collect(); // the server has recovered
            const QByteArray where = QByteArray::number(octets);
            QVERIFY2(subjects() == (QStringList{u"1"_s, u"2"_s, u"3"_s}), where);
            QVERIFY2(m_office->attachments().size() == 3, where);
            const QList<int> deleted = server.deleted(); // twice when the answer to QUIT was cut
            QVERIFY2((QSet<int>(deleted.cbegin(), deleted.cend()) == QSet<int>{1, 2, 3}), where);
        }
    }

    void hangingServerCostsItsLimitOnce_data()
    {
        QTest::addColumn<QByteArray>("hangsAt");
        for (const char *verb : {"GREETING", "PASS", "STAT", "RETR"})
            QTest::newRow(verb) << QByteArray(verb);
    }
    void hangingServerCostsItsLimitOnce()
    {
        QFETCH(QByteArray, hangsAt);
        ScriptedPop3Server::Script script;
        script.hangsAt = hangsAt;
        script.messages = messages(1);
        const ScriptedPop3Server hanging(script);
        const ScriptedPop3Server good({.messages = messages(1)});
        m_office->pop3.limits.connect = std::chrono::milliseconds(200);
        m_office->pop3.limits.login = m_office->pop3.limits.stall = std::chrono::milliseconds(200);
        account(hanging, 1, 1);
        account(hanging, 1, 2);
        account(good, 1, 3);
        m_office->collect();
        QCOMPARE(m_office->mails(u"EOAID"_s), QStringList(u"3"_s));
        QCOMPARE(hanging.connections(), 1);
    }

    void messageThatEndsInALineFeed_data()
    {
        QTest::addColumn<QByteArray>("capability");
        QTest::addColumn<int>("listedTooMuch");
        QTest::addColumn<int>("sessions");
        QTest::newRow("one at a time") << QByteArray("TOP") << 0 << 1;
        QTest::newRow("pipelined, sizes right") << QByteArray("PIPELINING") << 0 << 1;
        QTest::newRow("pipelined, sizes wrong: again one at a time") << QByteArray("PIPELINING") << 7 << 2;
        // The second session of the pass would be refused.
        QTest::newRow("the same at the next pass") << QByteArray("LOGIN-DELAY 1\r\nPIPELINING") << 7 << 2;
    }
    void messageThatEndsInALineFeed()
    {
        QFETCH(QByteArray, capability);
        ScriptedPop3Server::Script script;
        script.messages = {"Subject: 1\r\n\r\na\n.\nb\n", "Subject: 2\r\n\r\nc\n.\r\nd\n",
                           "Subject: 3\r\n\r\ne\r\n"};
        QFETCH(int, listedTooMuch);
        script.listedTooMuch = listedTooMuch;
        script.capabilities += capability;
        const ScriptedPop3Server server(script);
        account(server);
        m_office->pop3.limits.doubtfulEnd = std::chrono::milliseconds(100);
        m_office->collect();
        if (capability.startsWith("LOGIN-DELAY")) {
            QCOMPARE(server.connections(), 1);
            QTRY_VERIFY(mayLogIn(m_office->watch.histories.value(7), QDateTime::currentDateTime()));
            m_office->collect();
        }
        QCOMPARE(m_office->mails(u"EmailSubject, MSGID"_s),
                 (QStringList{u"1|uid-1"_s, u"2|uid-2"_s, u"3|uid-3"_s}));
        QCOMPARE(server.deleted(), (QList<int>{1, 2, 3}));
        QTEST(server.connections(), "sessions");
    }

    void serverThatDropsEarlyInputIsAskedOneByOne()
    {
        Script script;
        script.messages = messages(3);
        script.capabilities += "PIPELINING";
        script.dropsEarlyInput = true;
        const ScriptedPop3Server server(script);
        account(server);
        m_office->pop3.limits.stall = std::chrono::milliseconds(200);
        m_office->collect();
        m_office->collect();
        QCOMPARE(m_office->mails(u"MSGID"_s), (QStringList{u"uid-1"_s, u"uid-2"_s, u"uid-3"_s}));
    }

    void accountThatTakesLongGoesOnAtTheNextPass()
    {
        const ScriptedPop3Server server({.messages = messages(3)});
        account(server);
        m_office->accountBudget = {};
        for (int pass = 1; pass <= 3; ++pass) {
            m_office->collect();
            QCOMPARE(m_office->mails(u"1"_s).size(), pass);
        }
    }

    void refusedColumnIsLeftUnset_data()
    {
        QTest::addColumn<QString>("refused");
        QTest::addColumn<QString>("row");
        QTest::newRow("one") << u"length(new.EmailSubject)>1"_s << u"NULL|a@example.com|3|x"_s;
        QTest::newRow("two") << u"length(new.EmailSubject)>1 or new.ImpDegree is not null"_s
                             << u"NULL|a@example.com|NULL|x"_s;
        QTest::newRow("all that may be missing")
            << u"coalesce(new.EmailSubject, new.EmailContent, new.EmailFrom, new.EmailFromName, "
               u"new.ImpDegree,"
               " new.EmailStatus, new.EmailTo, new.EmailToDis, new.EmailCC, new.EmailSource) is not null"_s
            << u"NULL|NULL|NULL|NULL"_s;
    }
    void refusedColumnIsLeftUnset()
    {
        QFETCH(QString, refused);
        QFETCH(QString, row);
        const ScriptedPop3Server server(
            {.messages = {"From: a@example.com\r\nSubject: long\r\nContent-Type: text/html\r\n\r\nx\r\n"}});
        m_office->oa(u"create trigger refuse before insert on VO_Email when %1"
                     " begin select raise(abort, 'no'); end"_s.arg(refused));
        account(server, 1);
        m_office->collect();
        m_office->collect();
        QCOMPARE(m_office->mails(u"EmailSubject, EmailFrom, ImpDegree, EmailContent"_s), QStringList(row));
        QCOMPARE(m_office->mails(u"MSGID, EOAID"_s), QStringList(u"uid-1|7"_s));
        m_office->oa(u"drop trigger refuse"_s);
    }

    void refusedAttachmentIsMissing()
    {
        const QByteArray three = "Content-Type: multipart/mixed; boundary=b\r\n\r\n"
                                 "--b\r\nContent-Type: application/pdf; name=1.pdf\r\n\r\na\r\n"
                                 "--b\r\nContent-Type: application/pdf; name=2.pdf\r\n\r\nbad\r\n"
                                 "--b\r\nContent-Type: application/pdf; name=3.pdf\r\n\r\nc\r\n--b--\r\n";
        const ScriptedPop3Server server({.messages = {three, "Subject: next\r\n\r\n"}});
        m_office->oa(u"create trigger refuse before insert on VO_EmailAttachments"
                     " when cast(new.FileContent as text)='bad' begin select raise(abort, 'no'); end"_s);
        account(server);
        m_office->collect();
        QCOMPARE(m_office->rows(u"select FileName from VO_EmailAttachments order by OAID"_s),
                 (QStringList{u"1.pdf"_s, u"3.pdf"_s}));
        QCOMPARE(subjects(), (QStringList{u"无标题"_s, u"next"_s}));
        m_office->collect();
        QCOMPARE(server.deleted(), (QList<int>{2, 2})); // the whole copy of the other stays
        QVERIFY(KeptMails(m_office->path(u"kept"_s)).contains({7, u"uid-1"_s}));
    }

    void lockedDatabaseEndsThePass()
    {
        const ScriptedPop3Server server({.messages = messages(2)});
        account(server);
        m_office->session.Conn().execute(u"pragma busy_timeout=100"_s);
        m_office->oa(u"begin exclusive"_s);
        m_office->collect();
        QVERIFY(m_office->databaseGone);
        m_office->oa(u"rollback"_s);
        QCOMPARE(server.deleted().size(), 0);
        m_office->collect();
        QCOMPARE(subjects(), (QStringList{u"1"_s, u"2"_s}));
        QCOMPARE(server.deleted().size(), 2);
    }

    void stopBetweenMessages()
    {
        const ScriptedPop3Server server({.messages = messages(5)});
        account(server);
        m_office->console.stopWhen = [this] { return subjects().size() >= 2; };
        m_office->collect();
        QCOMPARE(subjects(), (QStringList{u"1"_s, u"2"_s}));
        QCOMPARE(server.deleted().size(), 0);
        m_office->console.stopWhen = {};
        m_office->collect();
        QCOMPARE(subjects().size(), 5);
        QCOMPARE(server.deleted().size(), 5);
    }
};

QTEST_GUILESS_MAIN(MailFaultsTest)
#include "MailFaultsTest.moc"
