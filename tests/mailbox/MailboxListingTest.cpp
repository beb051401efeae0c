#include "tests/support/MailOffice.h"
#include "tests/support/ScriptedPop3Server.h"

#include <QTest>

using namespace Qt::StringLiterals;
using Script = ScriptedPop3Server::Script;
Q_DECLARE_METATYPE(Script)

namespace
{

QByteArrayList messages(int count)
{
    QByteArrayList list;
    for (int number = 1; number <= count; ++number)
        list += "Subject: " + QByteArray::number(number) + "\r\n\r\n";
    return list;
}

} // namespace

/// Which messages of a mailbox are new, by their unique ids.
class MailboxListingTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<MailOffice> m_office;

    void account(const ScriptedPop3Server &server, const QVariant &isBaoLiu = 0)
    {
        m_office->account(7, u"user12"_s, server.port(), isBaoLiu, u"box"_s, u"pass"_s);
    }
    QStringList subjects() { return m_office->mails(u"EmailSubject"_s); }

private slots:
    void init() { m_office = std::make_unique<MailOffice>(); }
    void cleanup() { QCOMPARE(m_office->console.takeLog(), QStringList()); }

    void refusedMessageAndMissingIdAreLeft()
    {
        ScriptedPop3Server::Script script;
        script.messages = messages(4);
        script.uids = {"a", "-", "c", "d"};
        script.refusedMessages = {3};
        const ScriptedPop3Server server(script);
        account(server);
        m_office->collect();
        QCOMPARE(subjects(), (QStringList{u"1"_s, u"4"_s}));
        QCOMPARE(server.deleted(), (QList<int>{1, 4}));
    }

    void idsAreComparedExactly()
    {
        ScriptedPop3Server::Script script;
        script.messages = messages(5);
        script.uids = {"it's", "a", "A", "\xE9", "padded"};
        const ScriptedPop3Server server(script);
        account(server);
        m_office->oa(u"insert into VO_Email (EmailSubject, MSGID, EOAID) values ('known', 'padded   ', 7),"
                     " ('another account', 'a', 8), ('no id', null, 7)"_s);
        m_office->collect();
        QCOMPARE(subjects().mid(3), (QStringList{u"1"_s, u"2"_s, u"3"_s, u"4"_s}));
        QCOMPARE(m_office->mails(u"MSGID"_s).mid(3), (QStringList{u"it's"_s, u"a"_s, u"A"_s, u"%E9"_s}));
        QCOMPARE(server.deleted(), (QList<int>{1, 2, 3, 4, 5}));
    }

    void idsThatServersMisuse_data()
    {
        QTest::addColumn<Script>("first");
        QTest::addColumn<Script>("second"); // the same mailbox at the next pass
        QTest::addColumn<QVariant>("isBaoLiu");
        QTest::addColumn<QString>("stored");
        QTest::addColumn<QString>("note");
        const auto with = [](const QByteArrayList &uids, int more = 0) {
            Script script;
            script.messages = messages(2 + more);
            script.uids = uids;
            return script;
        };
        Script none = with({});
        none.knowsUidl = false;
        const QString changing = u"服务器每次都更换邮件标识，同样的邮件会重复保存"_s;
        QTest::newRow("changing") << with({"a", "b"}) << with({"c", "d"}) << QVariant(1) << u"1 2 1 2"_s
                                  << changing;
        QTest::newRow("others of other sizes")
            << with({"a", "b"}) << with({"c", "d", "e"}, 1) << QVariant(1) << u"1 2 1 2 3"_s << QString();
        QTest::newRow("others behind those that were deleted")
            << with({"a", "b"}) << with({"c", "d"}) << QVariant(0) << u"1 2 1 2"_s << QString();
        QTest::newRow("one for several: nothing is deleted")
            << with({"a", "a"}) << with({"a", "a"}) << QVariant(0) << u"1"_s
            << u"服务器给不同的邮件同一个标识，本次不删除任何邮件"_s;
        QTest::newRow("none") << none << none << QVariant(0) << QString()
                              << u"服务器不提供邮件标识（UIDL），邮件不会收取"_s;
    }
    void idsThatServersMisuse()
    {
        QFETCH(Script, first);
        QFETCH(Script, second);
        QFETCH(QVariant, isBaoLiu);
        QFETCH(QString, note);
        first.later = std::make_shared<const Script>(second);
        const ScriptedPop3Server server(first);
        account(server, isBaoLiu);
        m_office->collect();
        m_office->collect();
        QTEST(subjects().join(u' '), "stored");
        QCOMPARE(m_office->notes.join(u' ').section(u"："_s, 1), note);
        QCOMPARE(server.deleted().size(), note.isEmpty() && isBaoLiu == 0 ? 4 : 0);
    }

    void nothingNewCostsBoundedQueries()
    {
        constexpr int count = 50'000;
        ScriptedPop3Server::Script script;
        script.messages = QByteArrayList(count, "Subject: s\r\n\r\n");
        const ScriptedPop3Server server(script);
        account(server, 1);
        m_office->oa(u"with recursive n(i) as (select 1 union all select i+1 from n where i<%1)"
                     " insert into VO_Email (MSGID, EOAID) select 'uid-'||i, 7 from n"_s.arg(count));
        const qint64 before = m_office->session.Conn().statementsRun();
        m_office->collect();
        QCOMPARE(m_office->session.Conn().statementsRun() - before, 2);
        QCOMPARE(m_office->mails(u"1"_s).size(), count);
        QCOMPARE(server.received().count("UIDL"), 1);
        QVERIFY(!server.received().contains("RETR 1"));
    }
};

QTEST_GUILESS_MAIN(MailboxListingTest)
#include "MailboxListingTest.moc"
