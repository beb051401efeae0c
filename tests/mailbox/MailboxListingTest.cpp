#include "tests/support/MailOffice.h"

#include <QTest>

using namespace Qt::StringLiterals;
using Script = ScriptedPop3Server::Script;

/// Which messages of a mailbox are new, by their unique ids.
class MailboxListingTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<MailOffice> m_office;

private slots:
    void init() { m_office = std::make_unique<MailOffice>(); }
    void cleanup() { QCOMPARE(m_office->console.takeLog(), QStringList()); }

    void refusedMessageAndMissingIdAreLeft()
    {
        const ScriptedPop3Server &server = m_office->mailbox(
            {.messages = numberedMails(4), .refusedMessages = {3}, .uids = {"a", "-", "c", "d"}});
        m_office->collect();
        QCOMPARE(m_office->subjects(), u"1 4"_s);
        QCOMPARE(server.deleted(), (QList<int>{1, 4}));
    }

    void idsAreComparedExactly()
    {
        const ScriptedPop3Server &server =
            m_office->mailbox({.messages = numberedMails(5), .uids = {"it's", "a", "A", "\xE9", "padded"}});
        m_office->oa(u"insert into VO_Email (EmailSubject, MSGID, EOAID) values ('known', 'padded   ', 7),"
                     " ('another account', 'a', 8), ('no id', null, 7)"_s);
        m_office->collect();
        QCOMPARE(m_office->mails(u"EmailSubject, MSGID"_s).mid(3),
                 (QStringList{u"1|it's"_s, u"2|a"_s, u"3|A"_s, u"4|%E9"_s}));
        QCOMPARE(server.deleted(), (QList<int>{1, 2, 3, 4, 5}));
    }

    void idsThatServersMisuse_data()
    {
        QTest::addColumn<Script>("script");
        QTest::addColumn<Script>("later"); // the same mailbox at the next pass
        QTest::addColumn<int>("isBaoLiu");
        QTest::addColumn<QString>("stored");
        QTest::addColumn<QString>("note");
        const auto row = [](const char *name, const QByteArrayList &uids, const QByteArrayList &later,
                            int isBaoLiu, const QString &stored, const QString &note) {
            const auto script = [](const QByteArrayList &uids) {
                return Script{.messages = numberedMails(qMax(2, static_cast<int>(uids.size()))),
                              .uids = uids,
                              .knowsUidl = !uids.isEmpty()};
            };
            QTest::newRow(name) << script(uids) << script(later) << isBaoLiu << stored << note;
        };
        row("changing", {"a", "b"}, {"c", "d"}, 1, u"1 2 1 2"_s,
            u"服务器每次都更换邮件标识，同样的邮件会重复保存"_s);
        row("others of other sizes", {"a", "b"}, {"c", "d", "e"}, 1, u"1 2 1 2 3"_s, {});
        row("others behind those that were deleted", {"a", "b"}, {"c", "d"}, 0, u"1 2 1 2"_s, {});
        row("one for several: nothing is deleted", {"a", "a"}, {"a", "a"}, 0, u"1"_s,
            u"服务器给不同的邮件同一个标识，本次不删除任何邮件"_s);
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

    void nothingNewCostsBoundedQueries()
    {
        constexpr int count = 50'000;
        const ScriptedPop3Server &server =
            m_office->mailbox({.messages = QByteArrayList(count, "Subject: s\r\n\r\n")}, 1);
        m_office->oa(u"with recursive n(i) as (select 1 union all select i+1 from n where i<%1)"
                     " insert into VO_Email (MSGID, EOAID) select 'uid-'||i, 7 from n"_s.arg(count));
        const qint64 before = m_office->session.Conn().statementsRun();
        m_office->collect();
        QCOMPARE(m_office->session.Conn().statementsRun() - before, 2);
        QCOMPARE(m_office->mails(u"1"_s).size(), count);
        QVERIFY(!server.received().contains("RETR 1"));
    }
};

QTEST_GUILESS_MAIN(MailboxListingTest)
#include "MailboxListingTest.moc"
