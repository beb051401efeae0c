#include "tests/support/MailOffice.h"
#include "tests/support/Rows.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Script = ScriptedPop3Server::Script;

/// Collecting from servers and into databases that fail at the worst moments.
class MailFaultsTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<MailOffice> m_office;

private slots:
    void init() { m_office = std::make_unique<MailOffice>(); }
    void cleanup() { QCOMPARE(m_office->console.takeLog(), QStringList()); }

    void lineCutAnywhere()
    {
        for (const bool pipelining : {false, true}) {
            init();
            bool isWhole = false;
            for (qint64 octets = 0; !isWhole; octets += 3) {
                const ScriptedPop3Server server(
                    {.messages = numberedMails(3), .cutAfterOctets = octets, .pipelining = pipelining});
                m_office->account(7, u"user12"_s, server.port(), 0);
                m_office->collect();
                isWhole = m_office->notes.isEmpty();
                if (isWhole)
                    QCOMPARE(server.received().last(4),
                             (QByteArrayList{"DELE 1", "DELE 2", "DELE 3", "QUIT"}));
                m_office->collect();                         // the server has recovered
                const QList<int> deleted = server.deleted(); // twice when the answer to QUIT was cut
                QStringList subjects = m_office->mails(u"EmailSubject"_s);
                subjects.sort(); // the one that it was cut at comes last
                QVERIFY2(subjects.join(u' ') == u"1 2 3" && m_office->attachments().size() == 3 &&
                             (QSet<int>(deleted.cbegin(), deleted.cend()) == QSet<int>{1, 2, 3}),
                         QByteArray::number(octets));
                for (const auto *table : {u"VO_Email", u"VO_EmailAttachments", u"SA_email"})
                    m_office->oa(u"delete from "_s + QString::fromUtf16(table));
            }
        }
    }

    void hangingServerCostsItsLimitOnce_data()
    {
        // Accounts: two of a server that hangs, one of a good one. Connections: to the one that hangs.
        const Rows<QString, int> row("collected", "connections");
        row("GREETING", u"3"_s, 1); // which is the host's fault, the rest is the account's
        row("PASS", u"3"_s, 2);
        row("UIDL", u"3"_s, 2);
        row("RETR", u"3"_s, 6); // the mail is tried again at the end, then the mailbox without it
        row("DELE", u"1 2 3"_s, 2);
        row("QUIT", u"1 2 3"_s, 2);
    }
    void hangingServerCostsItsLimitOnce()
    {
        Pop3Limits &limits = m_office->pop3.limits;
        limits.connect = limits.greeting = limits.login = limits.stall = limits.quit = 200ms;
        const ScriptedPop3Server &hanging =
            m_office->mailbox({.messages = numberedMails(1), .hangsAt = QTest::currentDataTag()}, 0, 1);
        m_office->account(2, u"user12"_s, hanging.port(), 0);
        m_office->mailbox({.messages = numberedMails(1)}, 1, 3);
        m_office->collect();
        QTEST(m_office->mails(u"EOAID"_s).join(u' '), "collected");
        QTEST(hanging.connections(), "connections");
    }

    void mailThatBreaksSessionsWaits()
    {
        Script script{.messages = numberedMails(4), .fatalMessages = {2}};
        ScriptedPop3Server &server = m_office->mailbox(script);
        m_office->collect();
        QCOMPARE(m_office->subjects(), u"1 3 4"_s);
        const QList<int> deleted = server.deleted();
        QCOMPARE(QSet<int>(deleted.cbegin(), deleted.cend()), (QSet<int>{1, 3, 4}));
        QCOMPARE(server.received().count("RETR 2"), 2);
        script.fatalMessages = {};
        server.become(script);
        m_office->collect();
        QCOMPARE(m_office->subjects(), u"1 3 4"_s);
        m_office->watch.learn({7, u"uid-2"_s}, {2, SystemClock().steady()}); // an hour later
        m_office->collect();
        QCOMPARE(m_office->subjects(), u"1 3 4 2"_s);
        QVERIFY(m_office->watch.known().brokenMails.isEmpty());
    }

    void messageThatEndsInALineFeed_data()
    {
        const Rows<Script, int> row("script", "sessions");
        row("one at a time", {}, 1);
        row("pipelined, sizes right", {.pipelining = true}, 1);
        row("pipelined, sizes wrong: again one at a time", {.listedTooMuch = 7, .pipelining = true}, 2);
    }
    void messageThatEndsInALineFeed()
    {
        QFETCH(Script, script);
        script.messages = {"Subject: 1\r\n\r\na\n.\n+OK b\n", "Subject: 2\r\n\r\nc\n.\r\nd\n",
                           "Subject: 3\r\n\r\ne\r\n"};
        const ScriptedPop3Server &server = m_office->mailbox(script);
        m_office->pop3.limits.doubtfulEnd = 100ms;
        m_office->collect();
        QCOMPARE(m_office->mails(u"EmailSubject, MSGID"_s),
                 (QStringList{u"1|uid-1"_s, u"2|uid-2"_s, u"3|uid-3"_s}));
        QCOMPARE(server.deleted(), (QList<int>{1, 2, 3}));
        QTEST(server.connections(), "sessions");
    }

    void serverThatDropsEarlyInputIsAskedOneByOne()
    {
        m_office->mailbox({.messages = numberedMails(3), .pipelining = true, .dropsEarlyInput = true});
        m_office->pop3.limits.stall = 200ms;
        m_office->collect();
        QVERIFY(m_office->watch.known().histories[7].isOneByOne);
        m_office->collect();
        QCOMPARE(m_office->subjects(), u"1 2 3"_s);
    }

    void accountThatTakesLongGoesOnAtTheNextPass()
    {
        m_office->mailbox({.messages = numberedMails(3)});
        m_office->accountBudget = {};
        for (const auto *subjects : {u"1", u"1 2", u"1 2 3"}) {
            m_office->collect();
            QCOMPARE(m_office->subjects(), QString::fromUtf16(subjects));
        }
    }

    void refusedColumnIsLeftUnset_data()
    {
        const Rows<QString, QString> row("refused", "row");
        row("one", u"length(new.EmailSubject)>1"_s, u"NULL|a@example.com|3|x"_s);
        row("all that may be missing",
            u"coalesce(new.EmailSubject, new.EmailContent, new.EmailFrom, new.EmailFromName, "
            u"new.ImpDegree,"
            " new.EmailStatus, new.EmailTo, new.EmailToDis, new.EmailCC, new.EmailSource) is not null"_s,
            u"NULL|NULL|NULL|NULL"_s);
        row("its account: not stored", u"new.EOAID=7"_s, {});
    }
    void refusedColumnIsLeftUnset()
    {
        QFETCH(QString, refused);
        m_office->mailbox(
            {.messages = {"From: a@example.com\r\nSubject: long\r\nContent-Type: text/html\r\n\r\nx\r\n"}});
        m_office->oa(
            u"create trigger t before insert on VO_Email when %1 begin select raise(abort, 'no'); end"_s.arg(
                refused));
        m_office->collect();
        m_office->collect();
        const QStringList mails = m_office->mails(u"EmailSubject, EmailFrom, ImpDegree, EmailContent"_s);
        QTEST(mails.join(u' '), "row");
        QCOMPARE(m_office->mails(u"MSGID, EOAID"_s), QStringList(mails.size(), u"uid-1|7"_s));
    }

    void refusedAttachmentIsMissing()
    {
        QByteArray three = "Content-Type: multipart/mixed; boundary=b\r\n\r\n";
        for (const char *name : {"1", "bad", "3"})
            three += "--b\r\nContent-Type: application/pdf; name="_ba + name + "\r\n\r\n" + name + "\r\n";
        const ScriptedPop3Server &server =
            m_office->mailbox({.messages = {three + "--b--\r\n", "Subject: next\r\n\r\n"}});
        m_office->oa(u"create trigger t before insert on VO_EmailAttachments"
                     " when cast(new.FileContent as text)='bad' begin select raise(abort, 'no'); end"_s);
        m_office->collect();
        QCOMPARE(m_office->rows(u"select FileName from VO_EmailAttachments order by OAID"_s),
                 (QStringList{u"1"_s, u"3"_s}));
        QCOMPARE(m_office->subjects(), u"无标题 next"_s);
        m_office->collect();
        QCOMPARE(server.deleted(), (QList<int>{2, 2})); // the whole copy of the other stays
        QVERIFY(KeptMails(m_office->path(u"kept"_s)).contains({7, u"uid-1"_s}));
    }

    void mailThatAnotherServerStored_data()
    {
        const Rows<QString, QList<int>, bool> row("change", "deleted", "several");
        const QList<int> whole{1, 2, 3};
        const QList<int> others{1, 3};
        row("is whole", {}, whole, true);
        row("was read by its user", u"update VO_Email set EmailTo='*user12-1-1-0*', EmailStatus='0'"_s, whole,
            true);
        row("lacks a column", u"update VO_Email set EmailSubject=null where MSGID='uid-2'"_s, others, true);
        row("lacks an attachment", u"delete from VO_EmailAttachments where EmailID=2"_s, others, true);
        row("has another content", u"update VO_EmailAttachments set FileContent=x'00' where EmailID=2"_s,
            others, true);
        row("nobody else stores", u"update VO_Email set EmailSubject=null"_s, whole, false);
    }
    void mailThatAnotherServerStored()
    {
        QFETCH(QString, change);
        const ScriptedPop3Server &server = m_office->mailbox({.messages = numberedMails(3)}, 1);
        m_office->collect(); // the other server's pass
        m_office->oa(u"update SA_email set IsBaoLiu=0"_s);
        if (!change.isEmpty())
            m_office->oa(change);
        QFETCH(bool, several);
        m_office->watch.know({.areServersSeveral = several});
        const QStringList rows = m_office->mails(u"*"_s) + m_office->attachments();
        m_office->collect();
        QTEST(server.deleted(), "deleted");
        QCOMPARE(m_office->mails(u"*"_s) + m_office->attachments(), rows);
        if (!server.deleted().contains(2)) { // it is known, and not read again
            m_office->collect();
            QCOMPARE(server.received().count("RETR 2"), 2);
        }
    }

    void lockedDatabaseEndsThePass()
    {
        const ScriptedPop3Server &server = m_office->mailbox({.messages = numberedMails(2)});
        m_office->session.Conn().execute(u"pragma busy_timeout=100"_s);
        m_office->oa(u"begin exclusive"_s);
        m_office->collect();
        QVERIFY(m_office->databaseGone);
        m_office->oa(u"rollback"_s);
        QCOMPARE(server.deleted().size(), 0);
        m_office->collect();
        QCOMPARE(m_office->subjects(), u"1 2"_s);
        QCOMPARE(server.deleted().size(), 2);
    }
};

QTEST_GUILESS_MAIN(MailFaultsTest)
#include "MailFaultsTest.moc"
