#include "mailbox/Pop3PollingDriver.h"
#include "foundation/Settings.h"
#include "tests/support/MailOffice.h"
#include "tests/support/ScriptedPop3Server.h"

#include <QTest>

using namespace Qt::StringLiterals;

class Pop3PollingDriverTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<MailOffice> m_office;
    std::unique_ptr<Pop3PollingDriver> m_driver;

    void user(const QVariant &name, const QVariant &state = u"1"_s)
    {
        m_office->oa(u"insert into VO_UserInfor (UserName, AccountState) values (?, ?)"_s, {name, state});
    }

private slots:
    void init()
    {
        m_office = std::make_unique<MailOffice>();
        m_driver = std::make_unique<Pop3PollingDriver>(m_office->session, m_office->registry, MailTrace(),
                                                       m_office->watch, m_office->kept);
    }
    void cleanup() { QCOMPARE(m_office->console.takeLog(), QStringList()); }

    void whoIsCollected_data()
    {
        QTest::addColumn<QString>("order");
        QTest::addColumn<QString>("switches");
        QTest::addColumn<QString>("collected");
        const QString open = u"('WBYJ', '1', '1', null)"_s;
        const QString none = u"(null, null, null)"_s;
        QTest::newRow("open to all, no switch") << open << none << u"ann bob"_s;
        QTest::newRow("switched off and on")
            << open << u"('bob', 'WBYJ', '0'), ('ann', 'WBYJ', '1')"_s << u"ann"_s;
        QTest::newRow("another type's switch") << open << u"('bob', 'NBYJ', '0')"_s << u"ann bob"_s;
        QTest::newRow("closed") << u"('WBYJ', '0', '1', null)"_s << u"('bob', 'WBYJ', '1')"_s << u""_s;
        QTest::newRow("no such type") << u"('NBYJ', '1', '1', null)"_s << u"('bob', 'WBYJ', '1')"_s << u""_s;
        QTest::newRow("listed") << u"('WBYJ', '1', '0', 'x;bob;y')"_s << none << u"bob"_s;
    }
    void whoIsCollected()
    {
        QFETCH(QString, order);
        QFETCH(QString, switches);
        m_office->oa(u"insert into SMS_Order (OrderName, IsOrder, isPulic, UserList) values "_s + order);
        m_office->oa(u"insert into SMS_IsOrder (UserName, Type, IsOrder) values "_s + switches);
        user(u"ann"_s);
        user(QVariant());
        user(u"bob"_s);
        user(u"left"_s, u"0"_s);
        user(u"unknown"_s, QVariant());
        QTEST(collectedUsers(m_office->session.Conn()).join(u' '), "collected");
    }

    void passCollectsEachAndGoesOn()
    {
        m_office->oa(u"insert into SMS_Order (OrderName, IsOrder, isPulic) values ('WBYJ', '1', '1')"_s);
        const ScriptedPop3Server server({.messages = {"Subject: s\r\n\r\n"}});
        const ScriptedPop3Server refusing({.refusedWays = {"PLAIN", "LOGIN", "CRAM-MD5", "APOP", "USER"}});
        for (const QString &name : {u"ann"_s, u"bob"_s, u"eve"_s})
            user(name);
        m_office->account(1, u"ann"_s, server.port());
        m_office->account(2, u"bob"_s, refusing.port());
        m_office->account(3, u"eve"_s, server.port());
        m_driver->pass();
        QCOMPARE(m_office->mails(u"EOAID, EmailTo"_s), (QStringList{u"1|*ann-0-0-0*"_s, u"3|*eve-0-0-0*"_s}));
    }

    void nextAccountsAreLoggedInToAhead_data()
    {
        QTest::addColumn<bool>("isAhead");
        QTest::addColumn<qint64>("cutAfterOctets"); // of the second server
        QTest::addColumn<QString>("collected");
        constexpr qint64 never = std::numeric_limits<qint64>::max();
        constexpr qint64 afterTheLogin = 49;
        QTest::newRow("one by one") << false << never << u"1 2 3"_s;
        QTest::newRow("ahead") << true << never << u"1 2 3"_s;
        QTest::newRow("hung up before its turn: again") << true << afterTheLogin << u"1 2 3"_s;
        QTest::newRow("hung up in its turn") << false << afterTheLogin << u"1 3"_s;
    }
    void nextAccountsAreLoggedInToAhead()
    {
        QFETCH(bool, isAhead);
        QFETCH(qint64, cutAfterOctets);
        m_office->oa(u"insert into SMS_Order (OrderName, IsOrder, isPulic) values ('WBYJ', '1', '1')"_s);
        const ScriptedPop3Server slow(
            {.messages = {"Subject: s\r\n\r\n"}, .dripsAt = "RETR", .dripMilliseconds = 10});
        const ScriptedPop3Server quick(
            {.messages = {"Subject: s\r\n\r\n"}, .cutAfterOctets = cutAfterOctets});
        int key = 0;
        for (const QString &name : {u"ann"_s, u"bob"_s, u"eve"_s}) {
            user(name);
            ++key;
            m_office->account(key, name, key == 1 ? slow.port() : quick.port()); // eve's mailbox is bob's
        }
        QStringList lines;
        const MailTrace trace{[&](Pop3Direction, const QString &line) { lines += line; }, {}};
        Pop3PollingDriver driver(m_office->session, m_office->registry, trace, m_office->watch,
                                 m_office->kept);
        driver.setAhead({.accounts = isAhead ? 8 : 0, .after = {}});
        driver.pass();
        QTEST(m_office->mails(u"EOAID"_s).join(u' '), "collected");
        const QStringList logins = lines.filter(u"PASS"_s);
        const QString ahead = u"[box@127.0.0.1:%1] PASS ****"_s.arg(quick.port());
        QCOMPARE(logins.contains(ahead), isAhead);
        if (isAhead)
            QVERIFY(lines.indexOf(ahead) < lines.indexOf(u"QUIT"_s));
        QCOMPARE(logins.count(ahead), isAhead ? 1 : 0); // two sessions at once no mailbox admits
    }

    void databaseFaultEndsThePass()
    {
        m_office->oa(u"drop table VO_UserInfor"_s);
        QVERIFY_THROWS_EXCEPTION(DatabaseFault, m_driver->pass());
    }

    void hiddenTextIsAttachedWhereTheOfficeAsks_data()
    {
        QTest::addColumn<QString>("setting");
        QTest::addColumn<QByteArray>("mail");
        QTest::addColumn<QStringList>("attachments");
        const QByteArray text =
            "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\n\xE4\xB8\xAD\r\n";
        const QByteArray html = text + "--b\r\nContent-Type: text/html\r\n\r\ny\r\n";
        QTest::newRow("hidden") << u"attach"_s << text
                                << QStringList{u"1|正文.txt|正文.txt|text/plain|EFBBBFE4B8AD"_s};
        QTest::newRow("off-by-default") << QString() << text << QStringList();
        QTest::newRow("html-is-shown") << u"attach"_s << html << QStringList();
        QTest::newRow("text-is-shown") << u"attach"_s << "Subject: s\r\n\r\ntext\r\n"_ba << QStringList();
    }
    void hiddenTextIsAttachedWhereTheOfficeAsks()
    {
        QFETCH(QString, setting);
        QFETCH(QByteArray, mail);
        m_office->oa(u"insert into SMS_Order (OrderName, IsOrder, isPulic) values ('WBYJ', '1', '1')"_s);
        const ScriptedPop3Server server({.messages = {mail + "--b--\r\n"}});
        user(u"ann"_s);
        m_office->account(1, u"ann"_s, server.port());
        m_office->registry.write(Settings::localPath("MailHiddenText"_L1), setting);
        m_driver->pass();
        QTEST(m_office->attachments(), "attachments");
    }

    void verificationIsASetting()
    {
        QVERIFY(mailServerOptions(m_office->registry).tls == Pop3Tls::Opportunistic);
        m_office->registry.write(Settings::localPath("MailTls"_L1), u"Verify"_s);
        QVERIFY(mailServerOptions(m_office->registry).tls == Pop3Tls::Verify);
    }
};

QTEST_GUILESS_MAIN(Pop3PollingDriverTest)
#include "Pop3PollingDriverTest.moc"
