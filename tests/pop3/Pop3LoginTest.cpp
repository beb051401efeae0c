#include "pop3/Pop3Account.h"
#include "tests/pop3/Pop3Session.h"
#include "tests/support/Loopback.h"
#include "tests/support/Rows.h"

using namespace Qt::StringLiterals;
using enum Pop3ConnectOutcome;

/// The ways of logging in, the servers that let nobody in, and what a table may hold in place of a login.
class Pop3LoginTest : public QObject
{
    Q_OBJECT

private slots:
    void waysOfLoggingIn_data()
    {
        const Rows<Script, QByteArrayList, Pop3ConnectOutcome, Pop3LoginWays> rows("script", "ways",
                                                                                   "outcome", "known");
        // ways: in the order in which they were tried.
        const auto row = [&](const char *name, const Script &script, const QByteArray &ways,
                             Pop3ConnectOutcome outcome = Connected, const Pop3LoginWays &known = {}) {
            rows(name, script, ways.split(' '), outcome, known);
        };
        const QByteArray unknown = "-ERR mechanism not supported";
        const QByteArray stamped = "+OK <1.2@host>";
        const QByteArray two = "PLAIN LOGIN";
        row("no SASL", {}, "USER");
        row("the first is taken", {.sasl = two}, "PLAIN");
        row("one refusal at a time", {.sasl = two, .refusedWays = {"PLAIN"}}, "PLAIN", LoginRefused);
        row("an unknown way is no refusal",
            {.sasl = "PLAIN LOGIN CRAM-MD5",
             .refusedWays = {"PLAIN", "LOGIN", "CRAM-MD5"},
             .refusal = unknown},
            "CRAM-MD5 PLAIN LOGIN USER");
        row("refused before", {.sasl = two}, "LOGIN", Connected, {{}, {"PLAIN"}});
        row("the proven one is gone", {.sasl = "PLAIN"}, "PLAIN", Connected, {"CRAM-MD5", {}});
        row("APOP before USER", {.greeting = stamped, .refusedWays = {"APOP"}}, "APOP", LoginRefused);
        row("no CAPA", {.knowsCapa = false}, "USER");
        row("CAPA without USER", {.capabilities = {"TOP"}}, "USER");
        const auto says = [&](const char *name, const char *refusal, Pop3ConnectOutcome outcome) {
            row(name, {.refusedWays = {"USER"}, .refusal = refusal}, "USER", outcome);
        };
        says("mailbox in use", "-ERR [IN-USE] somebody reads it", MailboxInUse);
        says("too often", "-ERR [login-delay] wait", TooOften);
        says("server unwell", "-ERR [SYS/TEMP] later", ServerUnwell);
        // 请使用授权码登录
        says("wants a code", "-ERR \xC7\xEB\xCA\xB9\xD3\xC3\xCA\xDA\xC8\xA8\xC2\xEB\xB5\xC7\xC2\xBC",
             CodeWanted);
        says("shows the password", "-ERR user may not use s3cret as a password", LoginRefused);
    }
    void waysOfLoggingIn()
    {
        QFETCH(Script, script);
        QFETCH(Pop3LoginWays, known);
        QFETCH(QByteArrayList, ways);
        script.capabilities += "LOGIN-DELAY 300";
        const ScriptedPop3Server server(script);
        const Pop3Session session(server, {}, known);
        QTEST(session.connected.outcome, "outcome");
        QByteArrayList tried;
        for (const QByteArray &line : server.received()) {
            const QByteArrayList words = line.split(' ');
            if (words.first() == "AUTH")
                tried << words.value(1);
            else if (words.first() == "USER" || words.first() == "APOP")
                tried << words.first();
        }
        QCOMPARE(tried, ways);
        QCOMPARE(session.connected.way, ways.constLast());
        QCOMPARE(session.connected.loginDelay, std::chrono::seconds(script.knowsCapa ? 300 : 0));
        QCOMPARE(session.isEnded, session.connected.connected());
        QCOMPARE(session.connected.text.contains(u"127.0.0.1"_s), !session.isEnded);
        const QString shown = session.trace.join(u'\n') + session.connected.text;
        for (const QByteArray &secret : {"s3cret"_ba, "s3cret"_ba.toBase64(), "\0user\0s3cret"_ba.toBase64()})
            QVERIFY2(!shown.contains(QString::fromLatin1(secret)), qPrintable(shown));
        QVERIFY2(shown.contains(u"****"_s), qPrintable(shown));
    }

    void waysThatAreLeft()
    {
        const ScriptedPop3Server server({.sasl = "PLAIN", .refusedWays = {"PLAIN", "USER"}});
        Pop3Client client;
        QVERIFY(connectTo(client, server).otherWaysLeft);
        QVERIFY(!connectTo(client, server, {{}, {"PLAIN"}}).otherWaysLeft);
    }

    void verifyRefusesClearText()
    {
        Pop3Options options;
        options.tls = Pop3Tls::Verify;
        const ScriptedPop3Server server({});
        const Pop3Session session(server, options);
        QCOMPARE(session.connected.outcome, TlsRefused);
        QVERIFY(!server.received().contains("PASS s3cret"));
    }

    void unreachableHost()
    {
        Pop3Client client;
        QCOMPARE(client.Connect(theLogin, thePassword, u"127.0.0.1"_s, freeLoopbackPort()).outcome,
                 HostUnreachable);
        QCOMPARE(client.Connect(theLogin, thePassword, u"no-such-host.invalid"_s, 110).outcome,
                 HostUnreachable);
        const ScriptedPop3Server smtp({.greeting = "220 smtp.example.com ESMTP"});
        QCOMPARE(connectTo(client, smtp).outcome, HostUnreachable);
        QVERIFY_EXCEPTION_THROWN(static_cast<void>(client.Count()), Pop3Fault);
        QVERIFY(!client.Disconnect());
    }

    void hostileValues_data()
    {
        // No url: refused.
        const Rows<QString, QByteArray, int, QString, QString> rows("server", "url", "port", "login",
                                                                    "password");
        const auto row = [&](const char *name, const QString &server, const QByteArray &url, int port = 110,
                             const QString &login = u"a b\"'%@"_s, const QString &password = u" p\\%00ä "_s) {
            rows(name, server, url, port, login, password);
        };
        row("padded column", u"  Pop.Example.com   "_s, "pop3://pop.example.com:110");
        row("Chinese domain", u"邮件.中国"_s, "pop3://xn--5nq051n.xn--fiqs8s:110");
        row("empty", u" "_s, {});
        row("port inside", u"example.com:25"_s, {});
        row("line end", u"example.com\r\nDELE 1"_s, {});
        row("like an option", u"-v"_s, {});
        row("TLS port", u"h"_s, "pop3s://h:995", 995);
        row("port 0", u"h"_s, {}, 0);
        row("line end in the login", u"h"_s, {}, 110, u"u\r\nQUIT"_s);
        row("line end in the password", u"h"_s, {}, 110, u"u"_s, u"p\nDELE 1"_s);
        row("no login", u"h"_s, {}, 110, QString());
    }
    void hostileValues()
    {
        QFETCH(QString, server);
        QFETCH(QByteArray, url);
        QFETCH(int, port);
        QFETCH(QString, login);
        QFETCH(QString, password);
        const auto checked = checkedAccount(login, password, server, port, 995);
        const auto *account = std::get_if<Pop3Account>(&checked);
        QCOMPARE(account ? account->url : QByteArray(), url);
        if (account)
            QCOMPARE(account->login + account->password, (login + password).toUtf8());
        else
            QCOMPARE(Pop3Client().Connect(login, password, server, port).outcome,
                     Pop3ConnectOutcome::InvalidAccount);
    }
};

QTEST_GUILESS_MAIN(Pop3LoginTest)
#include "Pop3LoginTest.moc"
