#include "mailbox/getPopMail.h"
#include "mailbox/Pop3PollingDriver.h"
#include "mime/MimeMessage.h"
#include "platform/files/Files.h"
#include "tests/support/DovecotServer.h"
#include "tests/support/Loopback.h"
#include "tests/support/MailOffice.h"
#include "tests/support/Rows.h"

#include <QDir>

using namespace Qt::StringLiterals;
using Script = ScriptedPop3Server::Script;

/// Which mails of a user are new, and what becomes of them.
class getPopMailTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<MailOffice> m_office;

    /// Collects mails that consist of these headers, a blank line and a text. Result: columns of their rows.
    QStringList collected(const QByteArrayList &mails, const QString &columns)
    {
        Script script;
        for (const QByteArray &mail : mails)
            script.messages += QByteArray("From: A <a@example.com>\n" + mail).replace('\n', "\r\n");
        m_office->mailbox(script);
        m_office->collect();
        return m_office->mails(columns);
    }
    /// Everybody may take the notice of external mails, these users (name and state) are there.
    void openService(const QStringList &users)
    {
        m_office->add(u"SMS_Order"_s, u"OrderName, IsOrder, isPulic"_s, {u"WBYJ|1|1"_s});
        m_office->add(u"VO_UserInfor"_s, u"UserName, AccountState"_s, users);
    }
    /// Of all users.
    void pass(const TurnLimits &limits = {})
    {
        Pop3PollingDriver(m_office->session, readServiceSettings(m_office->registry), {}, m_office->watch,
                          m_office->kept, limits)
            .pass();
    }

private slots:
    void init() { m_office = std::make_unique<MailOffice>(); }
    void cleanup()
    {
        QCOMPARE(m_office->console.takeLog(), QStringList());
        QVERIFY(!m_office->databaseGone);
    }

    void fromARealServer()
    {
        DovecotServer server;
        m_office->account(8, u"user12"_s, server.port(), 1, u"samples"_s);
        m_office->account(5, u"user12"_s, server.port(), 1, u"box"_s);
        m_office->account(6, u"user13"_s, server.port(), 1, u"box"_s);
        server.deliver(u"box"_s, "Subject: one\n\n.\n..\n.text\n\n...\nend.\n");
        QStringList subjects{u"one"_s};
        qsizetype attachments = 0;
        const QDir samples(QStringLiteral(MAILS_FOLDER));
        for (const QString &name : samples.entryList({u"*.eml"_s})) {
            const QByteArray octets = readWhole(samples.filePath(name)).octets;
            server.deliver(u"samples"_s, octets);
            const MimeMessage message(octets);
            subjects += message.Subject().trimmed().isEmpty() ? u"无标题"_s : message.Subject();
            attachments += message.Attachments().size();
        }
        m_office->collect();
        m_office->collect(u"nobody"_s);
        m_office->collect(u"user12' or '1'='1"_s);
        QCOMPARE(m_office->notes, QStringList());
        QCOMPARE(m_office->subjects(), subjects.join(u' '));
        QCOMPARE(m_office->attachments().size(), attachments);
        QCOMPARE(m_office->mails(u"EmailContent"_s)[0],
                 u"<pre>.\r\n..\r\n.text\r\n\r\n...\r\nend.</pre><br>"_s);
        // Each message once; what the server had already is deleted as soon as the account keeps no copies.
        server.deliver(u"box"_s, "Subject: two\n\n");
        m_office->collect();
        QCOMPARE(server.stored(u"box"_s), 2);
        m_office->collect(u"user13"_s); // the same unique ids in another account are other mails
        m_office->oa(u"update SA_email set IsBaoLiu=0"_s);
        m_office->collect();
        QCOMPARE(m_office->subjects(), subjects.join(u' ') + u" two one two"_s);
        QCOMPARE(server.stored(u"box"_s), 0);
    }

    void subjectAndContent()
    {
        const QByteArray plain = "\n\n--b\nContent-Type: text/plain\n\ntext\n--b";
        const QByteArray both = plain + "\nContent-Type: text/html\n\n<i>h</i>\n--b--\n";
        const QByteArray alternative = "Content-Type: multipart/alternative; boundary=b";
        const QByteArray mixed = "Content-Type: multipart/mixed; boundary=b";
        QCOMPARE(collected({"Subject: s\nContent-Type: text/plain\n\na<b\n", "Subject: no type\n\na\n",
                            "Subject: s\nContent-Type: Text/Plain\n\na\n", alternative + both, mixed + both,
                            mixed + plain + "--\n", "Subject:    \nContent-Type: text/html\n\n",
                            "Subject:  Hi \nContent-Type: text/html\n\n<b>x</b>\n",
                            "Subject: it's \"so\"\nContent-Type: text/html\n\n'\n"},
                           u"EmailSubject, EmailContent"_s),
                 (QStringList{u"s|<pre>a<b</pre><br>"_s, u"no type|<pre>a</pre><br>"_s, u"s|"_s,
                              u"无标题|<pre>text</pre><br>"_s, u"无标题|<i>h</i>"_s, u"无标题|"_s,
                              u"无标题|"_s, u" Hi |<b>x</b>"_s, u"it's \"so\"|'"_s}));
    }

    void recipients()
    {
        QCOMPARE(collected({"To: a@x\nCC: b@x\nTo: c@x\n\n", "To: A <a@x>, b@x\nCC: c@x\n\n",
                            "Bcc: d@x\nCC: c@x\n\n", "Subject: s\n\n"},
                           u"EmailToDis, EmailCC"_s),
                 (QStringList{u"a@x, c@x|b@x"_s, u"a@x, b@x|c@x"_s, u"|d@x, c@x"_s, u"|"_s}));
    }

    void badAccountsBetweenGoodOnes()
    {
        m_office->mailbox({.messages = numberedMails(1)}, 1, 1);
        m_office->mailbox({.refusedWays = {"USER"}}, 0, 2);
        m_office->account(3, u"user12"_s, freeLoopbackPort(), 0);
        m_office->oa(u"insert into SA_email (OAID, UserName) values (4, 'user12')"_s);
        m_office->oa(u"insert into SA_email (OAID, UserName, POPIP, PopPort, EUsername, EPassword) values"
                     " (5, 'user12', 'no such host', 110, 'x' || char(13,10) || 'DELE 1', 'y')"_s);
        m_office->mailbox({.messages = numberedMails(1)}, 1, 6);
        m_office->collect();
        QCOMPARE(m_office->mails(u"EOAID, EmailSubject"_s), (QStringList{u"1|1"_s, u"6|1"_s}));
        QCOMPARE(m_office->notes.size(), 4);
        QVERIFY(!m_office->notes.join(u' ').contains(DovecotServer::password()));
    }

    void refusedMessageAndMissingIdAreLeft()
    {
        const ScriptedPop3Server &server = m_office->mailbox({.messages = numberedMails(4),
                                                              .refusedMessages = {3},
                                                              .uids = {"a", "-", "c", "d"},
                                                              .pipelining = true});
        m_office->collect();
        QCOMPARE(m_office->subjects(), u"1 4"_s);
        QCOMPARE(server.deleted(), (QList<int>{1, 4}));
    }

    void idsAreComparedExactly()
    {
        const ScriptedPop3Server &server =
            m_office->mailbox({.messages = numberedMails(5), .uids = {"it's", "a", "A", "\xE9", "padded"}});
        m_office->oa(u"insert into VO_Email (EmailSubject, MSGID, EOAID) values ('known', 'padded', 7),"
                     " ('another account', 'a', 8), ('no id', null, 7)"_s);
        m_office->collect();
        QCOMPARE(m_office->mails(u"EmailSubject, MSGID"_s).mid(3),
                 (QStringList{u"1|it's"_s, u"2|a"_s, u"3|A"_s, u"4|%E9"_s}));
        QCOMPARE(server.deleted(), (QList<int>{1, 2, 3, 4, 5}));
    }

    void idsThatServersMisuse_data()
    {
        const Rows<Script, Script, int, QString, QString> rows("script", "later", "isBaoLiu", "stored",
                                                               "note");
        // later: at the next pass.
        const auto row = [&](const char *name, const QByteArrayList &uids, const QByteArrayList &later,
                             int isBaoLiu, const QString &stored, const QString &note) {
            const auto script = [](const QByteArrayList &ids) {
                return Script{.messages = numberedMails(qMax(2, static_cast<int>(ids.size()))),
                              .uids = ids,
                              .knowsUidl = !ids.isEmpty()};
            };
            rows(name, script(uids), script(later), isBaoLiu, stored, note);
        };
        row("changing", {"a", "b"}, {"c", "d"}, 1, u"1 2 1 2"_s,
            u"服务器每次都更换邮件标识，同样的邮件会重复保存"_s);
        row("others behind those that were deleted", {"a", "b"}, {"c", "d"}, 0, u"1 2 1 2"_s, {});
        row("one for several: nothing is deleted", {"a", "a"}, {"a", "a"}, 0, u"1"_s,
            u"服务器给不同的邮件同一个标识，本次不删除任何邮件"_s);
        row("the messages' numbers", {"1", "2"}, {"1", "2"}, 0, u"1 2"_s, {});
        rows("numbers that others had", {.messages = numberedMails(2), .uids = {"1", "2"}},
             {.messages = numberedMails(3).mid(1), .uids = {"1", "2"}}, 0, u"1 2 2 3"_s, {});
        row("none", {}, {}, 0, {}, u"服务器不提供邮件标识（UIDL），邮件不会收取"_s);
    }
    void idsThatServersMisuse()
    {
        QFETCH(Script, script);
        QFETCH(Script, later);
        QFETCH(int, isBaoLiu);
        QFETCH(QString, note);
        ScriptedPop3Server &server = m_office->mailbox(script, isBaoLiu);
        m_office->collect();
        server.become(later);
        m_office->collect();
        QTEST(m_office->subjects(), "stored");
        QCOMPARE(m_office->notes.join(u' ').section(u"："_s, 1), note);
        QCOMPARE(server.deleted().size(), note.isEmpty() && isBaoLiu == 0 ? 4 : 0);
    }

    void whoIsCollected()
    {
        const auto collected = [this](const QString &order) {
            m_office->oa(u"update SMS_Order set "_s + order);
            return collectedUsers(m_office->session.Conn()).join(u' ');
        };
        openService({u"ann|1"_s, u"NULL|1"_s, u"bob|1"_s, u"eve|1"_s, u"left|0"_s, u"unknown|NULL"_s});
        m_office->add(u"SMS_IsOrder"_s, u"UserName, Type, IsOrder"_s, {u"bob|WBYJ|0"_s, u"eve|NBYJ|0"_s});
        QCOMPARE(collected(u"IsOrder='1'"_s), u"ann eve"_s);
        QCOMPARE(collected(u"isPulic='0', UserList='x;bob;ann'"_s), u"ann"_s);
        QCOMPARE(collected(u"OrderName='NBYJ'"_s), QString());
        m_office->oa(u"drop table VO_UserInfor"_s);
        QVERIFY_THROWS_EXCEPTION(DatabaseFault, pass());
    }

    void whoIsStuckHoldsNobodyUp()
    {
        QStringList users;
        QStringList well;
        for (const char *verb : {"GREETING", "", "PASS", "UIDL", "", "RETR", ""}) {
            const auto key = static_cast<int>(users.size()) + 1;
            users += u"user%1|1"_s.arg(key);
            m_office->mailbox({.messages = {"Subject: s\r\n\r\n"}, .hangsAt = verb}, 1, key);
            m_office->oa(u"update SA_email set UserName=? where OAID=?"_s, {u"user%1"_s.arg(key), key});
            if (*verb == '\0')
                well += QString::number(key);
        }
        openService(users);
        pass({.accounts = 2, .after = {}, .slow = std::chrono::milliseconds(100)});
        QCOMPARE(m_office->mails(u"EOAID"_s), well);
    }

    void hiddenTextIsAttachedWhereTheOfficeAsks()
    {
        const QByteArray text =
            "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\n\xE4\xB8\xAD\r\n";
        const QByteArray html = text + "--b\r\nContent-Type: text/html\r\n\r\ny\r\n";
        m_office->mailbox(
            {.messages = {html + "--b--\r\n", "Subject: s\r\n\r\ntext\r\n", text + "--b--\r\n"}}, 1);
        openService({u"user12|1"_s});
        pass();
        QCOMPARE(m_office->attachments(), QStringList());
        m_office->oa(u"delete from VO_Email"_s);
        m_office->set(u"MailHiddenText"_s, u"attach"_s);
        pass();
        QCOMPARE(m_office->attachments(), QStringList(u"%1|正文.txt|正文.txt|text/plain|EFBBBFE4B8AD"_s.arg(
                                              m_office->mails(u"VOID"_s)[2])));
    }
};

QTEST_GUILESS_MAIN(getPopMailTest)
#include "getPopMailTest.moc"
