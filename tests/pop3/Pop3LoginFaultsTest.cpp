#include "pop3/Pop3Account.h"
#include "tests/pop3/Pop3Faults.h"
#include "tests/support/Loopback.h"

#include <QTest>

Q_DECLARE_METATYPE(Pop3LoginWays)

using namespace Qt::StringLiterals;
using enum Pop3ConnectOutcome;

/// Accounts and servers that no session comes of.
class Pop3LoginFaultsTest : public QObject
{
    Q_OBJECT

private slots:
    void hostileAccounts_data()
    {
        QTest::addColumn<QString>("login");
        QTest::addColumn<QString>("password");
        QTest::addColumn<QString>("server");
        QTest::addColumn<int>("port");
        QTest::addColumn<QByteArray>("url"); // empty: refused

        const auto host = [](const char *name, const QString &server, const QByteArray &url) {
            QTest::newRow(name) << u"a b\"'%@"_s << u" p\\%00ä "_s << server << 110 << url;
        };
        host("plain", u"Pop.Example.com"_s, "pop3://Pop.Example.com:110/");
        host("padded-column", u"  pop.example.com   "_s, "pop3://pop.example.com:110/");
        host("chinese-domain", u"邮件.中国"_s, "pop3://xn--5nq051n.xn--fiqs8s:110/");
        host("ipv6", u"::1"_s, "pop3://[::1]:110/");
        host("empty", u" "_s, {});
        host("blank-inside", u"pop example.com"_s, {});
        host("user-part", u"evil@example.com"_s, {});
        host("port-inside", u"example.com:25"_s, {});
        host("line-end", u"example.com\r\nDELE 1"_s, {});
        host("option-like", u"-v"_s, {});
        host("too-long", QString(300, u'a'), {});
        QTest::newRow("tls-port") << u"u"_s << u"p"_s << u"h"_s << 995 << QByteArray("pop3s://h:995/");
        QTest::newRow("port-0") << u"u"_s << u"p"_s << u"h"_s << 0 << QByteArray();
        QTest::newRow("port-65536") << u"u"_s << u"p"_s << u"h"_s << 65536 << QByteArray();
        QTest::newRow("login-line-end") << u"u\r\nQUIT"_s << u"p"_s << u"h"_s << 110 << QByteArray();
        QTest::newRow("password-line-feed") << u"u"_s << u"p\nDELE 1"_s << u"h"_s << 110 << QByteArray();
        QTest::newRow("login-empty") << QString() << u"p"_s << u"h"_s << 110 << QByteArray();
        QTest::newRow("password-empty")
            << u"u"_s << QString() << u"h"_s << 110 << QByteArray("pop3://h:110/");
        QTest::newRow("login-1024") << QString(1024, u'u') << u"p"_s << u"h"_s << 110
                                    << QByteArray("pop3://h:110/");
        QTest::newRow("login-1025") << QString(1025, u'u') << u"p"_s << u"h"_s << 110 << QByteArray();
    }
    void hostileAccounts()
    {
        QFETCH(QString, login);
        QFETCH(QString, password);
        QFETCH(QString, server);
        QFETCH(int, port);
        QFETCH(QByteArray, url);
        const auto checked = checkedAccount(login, password, server, port, 995);
        const auto *account = std::get_if<Pop3Account>(&checked);
        QCOMPARE(account ? account->url : QByteArray(), url);
        if (account) {
            QCOMPARE(account->login, login.toUtf8());
            QCOMPARE(account->password, password.toUtf8());
        } else {
            QVERIFY(!std::get<QString>(checked).isEmpty());
            QCOMPARE(Pop3Client().Connect(login, password, server, port).outcome, InvalidAccount);
        }
    }

    void waysOfLoggingIn_data()
    {
        QTest::addColumn<Script>("script");
        QTest::addColumn<Pop3ConnectOutcome>("outcome");
        QTest::addColumn<Pop3LoginWays>("known");
        QTest::addColumn<QByteArrayList>("ways"); // in the order in which they were tried

        const auto row = [](const char *name, const QByteArray &sasl, QSet<QByteArray> refused,
                            Pop3ConnectOutcome outcome, const Pop3LoginWays &known,
                            const QByteArrayList &ways, const std::function<void(Script &)> &change = {}) {
            Script script;
            script.capabilities << "LOGIN-DELAY 300 USER";
            if (!sasl.isEmpty())
                script.capabilities << "SASL " + sasl;
            script.refusedWays = std::move(refused);
            if (change)
                change(script);
            QTest::newRow(name) << script << outcome << known << ways;
        };
        const auto stamped = [](Script &script) { script.greeting = "+OK <1.2@host>"; };
        const auto noCapa = [](Script &script) { script.knowsCapa = false; };
        const auto refusing = [](const char *words) {
            return [words](Script &script) { script.refusal = words; };
        };
        const char *unknown = "-ERR mechanism not supported";
        row("no-sasl", "", {}, Connected, {}, {"USER"});
        row("first-is-taken", "PLAIN LOGIN", {}, Connected, {}, {"PLAIN"});
        row("one-refusal-at-a-time", "PLAIN LOGIN", {"PLAIN"}, LoginRefused, {}, {"PLAIN"});
        row("unknown-way-is-no-refusal", "PLAIN LOGIN CRAM-MD5", {"PLAIN", "LOGIN", "CRAM-MD5"}, Connected,
            {}, {"CRAM-MD5", "PLAIN", "LOGIN", "USER"}, refusing(unknown));
        row("auth-code-is-a-refusal", "PLAIN LOGIN", {"PLAIN"}, LoginRefused, {}, {"PLAIN"},
            refusing("-ERR [AUTH] not supported"));
        row("refused-before", "PLAIN LOGIN", {}, Connected, {{}, {"PLAIN"}}, {"LOGIN"});
        row("all-sasl-refused-before", "PLAIN", {}, Connected, {{}, {"PLAIN"}}, {"USER"});
        row("all-refused-before-but-apop", "PLAIN", {}, Connected, {{}, {"PLAIN"}}, {"APOP"}, stamped);
        row("proven-first", "PLAIN LOGIN", {}, Connected, {"LOGIN", {}}, {"LOGIN"});
        row("proven-user", "PLAIN", {}, Connected, {"USER", {}}, {"USER"});
        row("proven-apop", "PLAIN", {}, Connected, {"APOP", {}}, {"APOP"}, stamped);
        row("proven-is-gone", "PLAIN", {}, Connected, {"CRAM-MD5", {}}, {"PLAIN"});
        row("hangs-up-after-unknown-way", "PLAIN LOGIN", {"PLAIN", "LOGIN"}, Connected, {},
            {"PLAIN", "LOGIN", "USER"}, [unknown](Script &script) {
                script.hangUpAfterRefusedLogin = true;
                script.refusal = unknown;
            });
        row("apop-before-user", "", {"APOP"}, LoginRefused, {}, {"APOP"}, stamped);
        row("no-capa", "", {}, Connected, {}, {"USER"}, noCapa);
        row("unknown-mechanisms-only", "KERBEROS_V4 X-OWN", {}, Connected, {}, {"USER"});
        row("capa-without-user", "", {}, Connected, {}, {"USER"}, [](Script &script) {
            script.capabilities = {"TOP", "LOGIN-DELAY 300"};
        });
        row("in-lower-case", "", {}, Connected, {}, {"USER"}, [](Script &script) {
            script.inLowerCase = true;
            script.knowsCapa = false;
        });
        row("refused-no-capa", "", {"USER"}, LoginRefused, {}, {"USER"}, noCapa);
        row("mailbox-in-use", "PLAIN LOGIN", {"PLAIN"}, MailboxInUse, {}, {"PLAIN"},
            refusing("-ERR [IN-USE] somebody reads it"));
        row("too-often", "", {"USER"}, TooOften, {}, {"USER"}, refusing("-ERR [login-delay] wait"));
        row("server-unwell", "", {"USER"}, ServerUnwell, {}, {"USER"}, refusing("-ERR [SYS/TEMP] later"));
        row("code-wanted", "PLAIN", {"PLAIN"}, CodeWanted, {}, {"PLAIN"},
            refusing(
                "-ERR \xC7\xEB\xCA\xB9\xD3\xC3\xCA\xDA\xC8\xA8\xC2\xEB\xB5\xC7\xC2\xBC")); // 请使用授权码登录
    }
    void waysOfLoggingIn()
    {
        QFETCH(Script, script);
        QFETCH(Pop3LoginWays, known);
        QFETCH(QByteArrayList, ways);
        const ScriptedPop3Server server(script);
        Pop3Client client;
        const Pop3ConnectResult result =
            client.Connect(theLogin, thePassword, u"127.0.0.1"_s, server.port(), known);
        QTEST(result.outcome, "outcome");
        QByteArrayList tried;
        for (const QByteArray &line : server.received()) {
            const QByteArrayList words = line.split(' ');
            if (words.first() == "AUTH")
                tried << words.value(1);
            else if (words.first() == "USER" || words.first() == "APOP")
                tried << words.first();
        }
        QCOMPARE(tried, ways);
        QCOMPARE(result.way, ways.constLast());
        QCOMPARE(result.loginDelay, std::chrono::seconds(script.knowsCapa ? 300 : 0));
        if (result.connected()) {
            QCOMPARE(client.Count(), 0);
            QVERIFY(client.Disconnect());
        } else {
            QVERIFY(result.text.contains(u"127.0.0.1"_s));
        }
    }

    void verifyRefusesClearText()
    {
        const ScriptedPop3Server server({});
        Pop3Options options;
        options.tls = Pop3Tls::Verify;
        Pop3Client client(options);
        QCOMPARE(connectTo(client, server).outcome, TlsRefused);
        QVERIFY(!server.received().contains("PASS s3cret"));
    }

    void passwordEchoedByServerIsMasked()
    {
        Script script;
        script.refusedWays = {"USER"};
        script.refusal = "-ERR user may not use s3cret as a password";
        const ScriptedPop3Server server(script);
        QStringList trace;
        Pop3Options options;
        options.trace = [&trace](Pop3Direction, const QString &line) { trace << line; };
        Pop3Client client(options);
        const Pop3ConnectResult result = connectTo(client, server);
        QCOMPARE(result.outcome, LoginRefused);
        QVERIFY2(result.text.contains(u"may not use ****"_s), qPrintable(result.text));
        QVERIFY(trace.filter(u"PASS ****"_s).size() == 1 && trace.filter(thePassword).isEmpty());
    }

    void unreachableHost()
    {
        Pop3Client client(hasty());
        QCOMPARE(client.Connect(theLogin, thePassword, u"127.0.0.1"_s, freeLoopbackPort()).outcome,
                 HostUnreachable);
        QCOMPARE(client.Connect(theLogin, thePassword, u"no-such-host.invalid"_s, 110).outcome,
                 HostUnreachable);
        Script script;
        script.greeting = "220 smtp.example.com ESMTP";
        const ScriptedPop3Server smtp(script);
        QCOMPARE(connectTo(client, smtp).outcome, HostUnreachable);
        QVERIFY(!client.isConnected());
        QVERIFY_EXCEPTION_THROWN(static_cast<void>(client.Count()), Pop3Fault);
        QVERIFY(!client.Disconnect());
    }
};

QTEST_GUILESS_MAIN(Pop3LoginFaultsTest)
#include "Pop3LoginFaultsTest.moc"
