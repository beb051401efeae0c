#include "mailbox/Pop3PollingDriver.h"
#include "foundation/Settings.h"
#include "tests/support/MailOffice.h"
#include "tests/support/Rows.h"

using namespace Qt::StringLiterals;

class Pop3PollingDriverTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<MailOffice> m_office;
    QStringList m_trace;

    void user(const QString &name)
    {
        m_office->oa(u"insert into VO_UserInfor (UserName, AccountState) values (?, '1')"_s, {name});
    }
    void pass(const TurnLimits &limits = {})
    {
        const MailTrace trace{[&](Pop3Direction, const QString &line) { m_trace += line; }, {}};
        Pop3PollingDriver driver(m_office->session, readServiceSettings(m_office->registry), trace,
                                 m_office->watch, m_office->kept, limits);
        driver.pass();
    }

private slots:
    void init()
    {
        m_trace.clear();
        m_office = std::make_unique<MailOffice>();
        m_office->oa(u"insert into SMS_Order (OrderName, IsOrder, isPulic) values ('WBYJ', '1', '1')"_s);
    }
    void cleanup() { QCOMPARE(m_office->console.takeLog(), QStringList()); }

    void whoIsCollected()
    {
        const auto collected = [this](const QString &order) {
            m_office->oa(u"update SMS_Order set "_s + order);
            return collectedUsers(m_office->session.Conn()).join(u' ');
        };
        m_office->oa(u"insert into VO_UserInfor (UserName, AccountState) values ('ann', '1'), (null, '1'),"
                     " ('bob', '1'), ('eve', '1'), ('left', '0'), ('unknown', null)"_s);
        m_office->oa(u"insert into SMS_IsOrder (UserName, Type, IsOrder) values"
                     " ('bob', 'WBYJ', '0'), ('eve', 'NBYJ', '0')"_s);
        QCOMPARE(collected(u"IsOrder='1'"_s), u"ann eve"_s);
        QCOMPARE(collected(u"isPulic='0', UserList='x;bob;ann'"_s), u"ann"_s);
        QCOMPARE(collected(u"OrderName='NBYJ'"_s), QString());
        m_office->oa(u"drop table VO_UserInfor"_s);
        QVERIFY_THROWS_EXCEPTION(DatabaseFault, pass());
    }

    void whoIsStuckHoldsNobodyUp()
    {
        std::vector<std::unique_ptr<ScriptedPop3Server>> servers;
        QStringList well;
        for (const char *verb : {"GREETING", "", "PASS", "UIDL", "", "RETR", ""}) {
            const QString name = u"user%1"_s.arg(servers.size());
            const ScriptedPop3Server::Script script{.messages = {"Subject: s\r\n\r\n"}, .hangsAt = verb};
            servers.push_back(std::make_unique<ScriptedPop3Server>(script));
            user(name);
            m_office->account(static_cast<int>(servers.size()), name, servers.back()->port());
            if (script.hangsAt.isEmpty())
                well += QString::number(servers.size());
        }
        pass({.accounts = 2, .after = {}, .slow = std::chrono::milliseconds(100)});
        QCOMPARE(m_office->mails(u"EOAID"_s), well);
    }

    void hiddenTextIsAttachedWhereTheOfficeAsks()
    {
        const QByteArray text =
            "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\n\xE4\xB8\xAD\r\n";
        const QByteArray html = text + "--b\r\nContent-Type: text/html\r\n\r\ny\r\n";
        const ScriptedPop3Server server(
            {.messages = {html + "--b--\r\n", "Subject: s\r\n\r\ntext\r\n", text + "--b--\r\n"}});
        user(u"ann"_s);
        m_office->account(1, u"ann"_s, server.port());
        pass();
        QCOMPARE(m_office->attachments(), QStringList());
        m_office->oa(u"delete from VO_Email"_s);
        m_office->registry.write(Settings::pathOf(u"MailHiddenText"_s), u"attach"_s);
        pass();
        QCOMPARE(m_office->attachments(), QStringList(u"%1|正文.txt|正文.txt|text/plain|EFBBBFE4B8AD"_s.arg(
                                              m_office->mails(u"VOID"_s)[2])));
    }
};

QTEST_GUILESS_MAIN(Pop3PollingDriverTest)
#include "Pop3PollingDriverTest.moc"
