#include "platform/pop3/Pop3Account.h"
#include "platform/pop3/Pop3Client.h"
#include "tests/support/Loopback.h"
#include "tests/support/ScriptedPop3Server.h"
#include <QElapsedTimer>
#include <QTest>
#include <memory>
#include <numeric>

using namespace Qt::StringLiterals;
using Script = ScriptedPop3Server::Script;
using enum Pop3ConnectOutcome;

namespace
{
const QString theLogin = u"user"_s;
const QString thePassword = u"s3cret"_s;

Pop3ConnectResult connectTo(Pop3Client &client, const ScriptedPop3Server &server)
{
    return client.Connect(theLogin, thePassword, u"127.0.0.1"_s, server.port());
}

QList<int> upTo(int count)
{
    QList<int> numbers(count);
    std::iota(numbers.begin(), numbers.end(), 1);
    return numbers;
}

Script scriptWith(int messages, bool pipelining)
{
    Script script;
    if (pipelining)
        script.capabilities << "PIPELINING";
    for (int i = 1; i <= messages; ++i)
        script.messages << "Subject: " + QByteArray::number(i) + "\r\n\r\n.dot\r\nbody " +
                               QByteArray::number(i) + "\r\n";
    return script;
}

/// Everything a download does; which messages arrived, and what ended it.
struct Download {
    Pop3ConnectResult connected;
    QList<QByteArray> messages;
    std::optional<Pop3Fault::Kind> fault;
    bool ended = false;
};

Download download(const ScriptedPop3Server &server, const Pop3Options &options = {})
{
    Download result;
    Pop3Client client(options);
    result.connected = connectTo(client, server);
    if (!result.connected.connected())
        return result;
    try {
        client.retrieve(upTo(client.Count()), [&](int, const Pop3Client::Retrieved &message) {
            if (const auto *octets = std::get_if<QByteArray>(&message))
                result.messages << *octets;
        });
        (void)client.DeleteMessages();
    } catch (const Pop3Fault &fault) {
        result.fault = fault.kind();
    }
    result.ended = client.Disconnect();
    return result;
}

Pop3Options hasty()
{
    Pop3Options options;
    options.limits.login = options.limits.stall = options.limits.quit = std::chrono::milliseconds(300);
    options.limits.connect = std::chrono::milliseconds(300);
    return options;
}
} // namespace

Q_DECLARE_METATYPE(Script)

/// Against servers that misbehave by script.
class Pop3FaultsTest : public QObject
{
    Q_OBJECT

private slots:
    void hostileAccounts_data();
    void hostileAccounts();
    void waysOfLoggingIn_data();
    void waysOfLoggingIn();
    void verifyRefusesClearText();
    void passwordEchoedByServerIsMasked();
    void unreachableHost();
    void lineCutAnywhere_data();
    void lineCutAnywhere();
    void silentServer_data();
    void silentServer();
    void drippingServerMeetsTheTotalLimit();
    void slowLineMayTakeLonger();
    void stopReleasesASilentLine();
    void listings_data();
    void listings();
    void fiftyThousandMessages();
    void refusedMessageConcernsOnlyItself_data();
    void refusedMessageConcernsOnlyItself();
    void tooBigMessageIsSkipped();
    void lineFeedsInsideDoNotEndAMessage();
    void withoutPipeliningOneAtATime();
};

void Pop3FaultsTest::hostileAccounts_data()
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
    host("underscore", u"mail_1.office"_s, "pop3://mail_1.office:110/");
    host("chinese-domain", u"邮件.中国"_s, "pop3://xn--5nq051n.xn--fiqs8s:110/");
    host("ipv6", u"::1"_s, "pop3://[::1]:110/");
    host("ipv6-brackets", u"[fe80::1]"_s, "pop3://[fe80::1]:110/");
    host("empty", u" "_s, {});
    host("null", QString(), {});
    host("blank-inside", u"pop example.com"_s, {});
    host("user-part", u"evil@example.com"_s, {});
    host("path", u"example.com/x"_s, {});
    host("query", u"example.com?x"_s, {});
    host("port-inside", u"example.com:25"_s, {});
    host("percent", u"example%2ecom"_s, {});
    host("line-end", u"example.com\r\nDELE 1"_s, {});
    host("option-like", u"-v"_s, {});
    host("quote", u"exam\"ple.com"_s, {});
    host("too-long", QString(300, u'a'), {});
    QTest::newRow("tls-port") << u"u"_s << u"p"_s << u"h"_s << 995 << QByteArray("pop3s://h:995/");
    QTest::newRow("port-0") << u"u"_s << u"p"_s << u"h"_s << 0 << QByteArray();
    QTest::newRow("port-65536") << u"u"_s << u"p"_s << u"h"_s << 65536 << QByteArray();
    QTest::newRow("login-line-end") << u"u\r\nQUIT"_s << u"p"_s << u"h"_s << 110 << QByteArray();
    QTest::newRow("password-line-feed") << u"u"_s << u"p\nDELE 1"_s << u"h"_s << 110 << QByteArray();
    QTest::newRow("login-nul") << QString(u"u"_s + QChar(0)) << u"p"_s << u"h"_s << 110 << QByteArray();
    QTest::newRow("login-empty") << QString() << u"p"_s << u"h"_s << 110 << QByteArray();
    QTest::newRow("password-empty") << u"u"_s << QString() << u"h"_s << 110 << QByteArray("pop3://h:110/");
    QTest::newRow("login-1024") << QString(1024, u'u') << u"p"_s << u"h"_s << 110
                                << QByteArray("pop3://h:110/");
    QTest::newRow("login-1025") << QString(1025, u'u') << u"p"_s << u"h"_s << 110 << QByteArray();
}

void Pop3FaultsTest::hostileAccounts()
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

void Pop3FaultsTest::waysOfLoggingIn_data()
{
    QTest::addColumn<Script>("script");
    QTest::addColumn<Pop3ConnectOutcome>("outcome");
    QTest::addColumn<QByteArrayList>("ways"); // in the order in which they were tried

    const auto row = [](const char *name, const QByteArray &sasl, QSet<QByteArray> refused,
                        Pop3ConnectOutcome outcome, const QByteArrayList &ways,
                        const std::function<void(Script &)> &change = {}) {
        Script script;
        if (!sasl.isEmpty())
            script.capabilities << "SASL " + sasl;
        script.refusedWays = std::move(refused);
        if (change)
            change(script);
        QTest::newRow(name) << script << outcome << ways;
    };
    const auto hangUp = [](Script &script) { script.hangUpAfterRefusedLogin = true; };
    const auto stamped = [](Script &script) { script.greeting = "+OK <1.2@host>"; };
    const auto noCapa = [](Script &script) { script.knowsCapa = false; };
    row("no-sasl", "", {}, Connected, {"USER"});
    row("first-is-taken", "PLAIN LOGIN", {}, Connected, {"PLAIN"});
    row("second-is-taken", "PLAIN LOGIN", {"PLAIN"}, Connected, {"PLAIN", "LOGIN"});
    row("user-is-last", "PLAIN LOGIN CRAM-MD5", {"PLAIN", "LOGIN", "CRAM-MD5"}, Connected,
        {"CRAM-MD5", "PLAIN", "LOGIN", "USER"});
    row("hangs-up-after-refusal", "PLAIN LOGIN", {"PLAIN", "LOGIN"}, Connected, {"PLAIN", "LOGIN", "USER"},
        hangUp);
    row("apop-before-user", "", {"APOP"}, Connected, {"APOP", "USER"}, stamped);
    row("apop-after-sasl", "PLAIN", {"PLAIN"}, Connected, {"PLAIN", "APOP"}, stamped);
    row("no-capa", "", {}, Connected, {"USER"}, noCapa);
    row("unknown-mechanisms-only", "KERBEROS_V4 X-OWN", {}, Connected, {"USER"});
    row("capa-without-user", "", {}, Connected, {"USER"},
        [](Script &script) { script.capabilities = {"TOP"}; });
    row("all-refused", "PLAIN", {"PLAIN", "USER"}, LoginRefused, {"PLAIN", "USER"});
    row("all-refused-no-capa", "", {"USER"}, LoginRefused, {"USER"}, noCapa);
    row("mailbox-in-use", "PLAIN LOGIN", {"PLAIN"}, LoginRefused, {"PLAIN"},
        [](Script &script) { script.refusal = "-ERR [IN-USE] somebody reads it"; });
}

void Pop3FaultsTest::waysOfLoggingIn()
{
    QFETCH(Script, script);
    QFETCH(QByteArrayList, ways);
    const ScriptedPop3Server server(script);
    Pop3Client client;
    const Pop3ConnectResult result = connectTo(client, server);
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
    if (result.connected()) {
        QCOMPARE(client.Count(), 0);
        QVERIFY(client.Disconnect());
    } else {
        QVERIFY(result.text.contains(u"127.0.0.1"_s));
    }
}

void Pop3FaultsTest::verifyRefusesClearText()
{
    const ScriptedPop3Server server({});
    Pop3Options options;
    options.tls = Pop3Tls::Verify;
    Pop3Client client(options);
    QCOMPARE(connectTo(client, server).outcome, TlsRefused);
    QVERIFY(!server.received().contains("PASS s3cret"));
}

void Pop3FaultsTest::passwordEchoedByServerIsMasked()
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

void Pop3FaultsTest::unreachableHost()
{
    Pop3Client client(hasty());
    QCOMPARE(client.Connect(theLogin, thePassword, u"127.0.0.1"_s, freeLoopbackPort()).outcome,
             HostUnreachable);
    QCOMPARE(client.Connect(theLogin, thePassword, u"no-such-host.invalid"_s, 110).outcome, HostUnreachable);
    Script script;
    script.greeting = "220 smtp.example.com ESMTP";
    const ScriptedPop3Server smtp(script);
    QCOMPARE(connectTo(client, smtp).outcome, HostUnreachable);
    QVERIFY(!client.isConnected());
    QVERIFY_EXCEPTION_THROWN((void)client.Count(), Pop3Fault);
    QVERIFY(!client.Disconnect());
}

void Pop3FaultsTest::lineCutAnywhere_data()
{
    QTest::addColumn<bool>("pipelining");
    QTest::newRow("one-by-one") << false;
    QTest::newRow("pipelined") << true;
}

void Pop3FaultsTest::lineCutAnywhere()
{
    QFETCH(bool, pipelining);
    Script script = scriptWith(4, pipelining);
    qint64 whole = 0;
    {
        const ScriptedPop3Server server(script);
        const Download all = download(server);
        QVERIFY(all.ended && !all.fault);
        QCOMPARE(all.messages, script.messages);
        QCOMPARE(server.deleted(), upTo(4));
        whole = server.sentOctets();
    }
    for (qint64 octets = 0; octets < whole; ++octets) {
        script.cutAfterOctets = octets;
        const ScriptedPop3Server server(script);
        const Download part = download(server);
        const QByteArray at = "cut after " + QByteArray::number(octets);
        QVERIFY2(!part.ended, at.constData());
        // Whatever arrived is whole and in order.
        QVERIFY2(part.messages == script.messages.mid(0, part.messages.size()), at.constData());
        QVERIFY2(!part.connected.connected() || part.fault == Pop3Fault::Kind::LineLost ||
                     server.received().contains("QUIT"),
                 at.constData());
        QVERIFY2(server.deleted().isEmpty() || part.messages.size() == 4, at.constData());
    }
}

void Pop3FaultsTest::silentServer_data()
{
    QTest::addColumn<QByteArray>("verb");
    QTest::addColumn<Pop3ConnectOutcome>("outcome");
    QTest::newRow("no-greeting") << QByteArray("GREETING") << HostUnreachable;
    QTest::newRow("capa") << QByteArray("CAPA") << TimedOut;
    QTest::newRow("pass") << QByteArray("PASS") << TimedOut;
    QTest::newRow("stat") << QByteArray("STAT") << Connected;
    QTest::newRow("retr") << QByteArray("RETR") << Connected;
    QTest::newRow("dele") << QByteArray("DELE") << Connected;
    QTest::newRow("quit") << QByteArray("QUIT") << Connected;
}

void Pop3FaultsTest::silentServer()
{
    QFETCH(QByteArray, verb);
    Script script = scriptWith(3, true);
    script.hangsAt = verb;
    const ScriptedPop3Server server(script);
    QElapsedTimer clock;
    clock.start();
    const Download result = download(server, hasty());
    QTEST(result.connected.outcome, "outcome");
    QVERIFY(!result.ended);
    if (result.connected.connected() && verb != "QUIT")
        QCOMPARE(result.fault, Pop3Fault::Kind::TimedOut);
    QVERIFY2(clock.elapsed() < 10'000, "a hanging server costs far more than its limit");
}

void Pop3FaultsTest::drippingServerMeetsTheTotalLimit()
{
    Script script = scriptWith(1, false);
    script.messages = {QByteArray(100'000, 'x')};
    script.dripsAt = "RETR";
    const ScriptedPop3Server server(script);
    Pop3Options options;
    options.limits.exchange = std::chrono::milliseconds(300);
    const Download result = download(server, options);
    QCOMPARE(result.fault, Pop3Fault::Kind::TimedOut);
    QVERIFY(result.messages.isEmpty());
}

void Pop3FaultsTest::slowLineMayTakeLonger()
{
    Script script = scriptWith(1, false);
    script.dripsAt = "RETR";
    script.dripMilliseconds = 10; // 100 octets a second, above the slowest speed accepted here
    const ScriptedPop3Server server(script);
    Pop3Options options;
    options.limits.exchange = std::chrono::milliseconds(200);
    options.limits.slowestOctetsPerSecond = 40;
    const Download result = download(server, options);
    QCOMPARE(result.messages, script.messages);
    QVERIFY(result.ended);
}

void Pop3FaultsTest::stopReleasesASilentLine()
{
    Script script = scriptWith(3, true);
    script.hangsAt = "STAT";
    const ScriptedPop3Server server(script);
    Pop3Options options;
    options.limits.stopGrace = std::chrono::milliseconds(100);
    bool stop = false;
    options.stopRequested = [&stop] { return stop; };
    Pop3Client client(options);
    QVERIFY(connectTo(client, server).connected());
    stop = true;
    try {
        QFAIL(qPrintable(QString::number(client.Count())));
    } catch (const Pop3Fault &fault) {
        QCOMPARE(fault.kind(), Pop3Fault::Kind::Stopped);
    }
    QCOMPARE(connectTo(client, server).outcome, Stopped);
}

void Pop3FaultsTest::listings_data()
{
    QTest::addColumn<Script>("script");
    QTest::addColumn<int>("count");
    QTest::addColumn<QStringList>("uids"); // "" where there is none

    const auto row = [](const char *name, int count, const QStringList &uids,
                        const std::function<void(Script &)> &change) {
        Script script = scriptWith(3, false);
        change(script);
        QTest::newRow(name) << script << count << uids;
        script.capabilities << "PIPELINING";
        QTest::newRow((QByteArray(name) + "-pipelined").constData()) << script << count << uids;
    };
    row("usual", 3, {u"uid-1"_s, u"uid-2"_s, u"uid-3"_s}, [](Script &) {});
    row("quotes", 3, {u"it's"_s, u"\"x\";--"_s, u"%_[]{}|\\~"_s}, [](Script &s) {
        s.uids = {"it's", "\"x\";--", "%_[]{}|\\~"};
    });
    row("duplicates", 3, {u"same"_s, u"same"_s, u"uid-3"_s}, [](Script &s) { s.uids = {"same", "same"}; });
    row("missing-line", 3, {u"a"_s, QString(), u"c"_s}, [](Script &s) { s.uids = {"a", "-", "c"}; });
    row("blanks-inside", 3, {u"a  b"_s, u"b"_s, u"c"_s}, [](Script &s) { s.uids = {"a  b", " b ", "c"}; });
    row("control-character", 3, {QString(), u"b"_s, QString()}, [](Script &s) {
        s.uids = {QByteArray("a\0b", 3), "b", "\x1b[31m"};
    });
    row("empty-id", 3, {QString(), u"b"_s, u"c"_s}, [](Script &s) { s.uids = {"", "b", "c"}; });
    row("utf-8", 3, {u"编号"_s, u"b"_s, u"c"_s}, [](Script &s) {
        s.uids = {"\xE7\xBC\x96\xE5\x8F\xB7", "b", "c"};
    });
    row("no-uidl", 3, {QString(), QString(), QString()}, [](Script &s) { s.knowsUidl = false; });
    row("no-stat", 3, {u"uid-1"_s, u"uid-2"_s, u"uid-3"_s}, [](Script &s) { s.statAnswer = "-ERR"; });
    row("stat-without-number", 3, {u"uid-1"_s, u"uid-2"_s, u"uid-3"_s},
        [](Script &s) { s.statAnswer = "+OK many"; });
    row("stat-too-small", 2, {u"uid-1"_s, u"uid-2"_s}, [](Script &s) { s.statAnswer = "+OK 2 100"; });
    row("stat-absurd", 1'000'000, {u"uid-1"_s}, [](Script &s) { s.statAnswer = "+OK 4294967297 1"; });
    row("empty", 0, {}, [](Script &s) { s.messages.clear(); });
    row("bare-line-feeds", 3, {u"uid-1"_s, u"uid-2"_s, u"uid-3"_s},
        [](Script &s) { s.bareLineFeeds = true; });
}

void Pop3FaultsTest::listings()
{
    QFETCH(Script, script);
    QFETCH(QStringList, uids);
    const ScriptedPop3Server server(script);
    Pop3Client client;
    QVERIFY(connectTo(client, server).connected());
    QTEST(client.Count(), "count");
    for (int i = 0; i < uids.size(); ++i)
        QCOMPARE(client.GetMessageUID(i + 1).value_or(QString()), uids[i]);
    QVERIFY(client.Disconnect());
    QCOMPARE(server.received().count("UIDL"), 1);
}

void Pop3FaultsTest::fiftyThousandMessages()
{
    Script script = scriptWith(50'000, true);
    const ScriptedPop3Server server(script);
    Pop3Client client;
    QVERIFY(connectTo(client, server).connected());
    QCOMPARE(client.Count(), 50'000);
    QCOMPARE(client.GetMessageUID(50'000), u"uid-50000"_s);
    QCOMPARE(std::get<MimeMessage>(client.Item(49'999)).Subject(), u"49999"_s);
    QVERIFY(client.DeleteMessages().isEmpty());
    QVERIFY(client.Disconnect());
    QCOMPARE(server.deleted().size(), 50'000);
}

void Pop3FaultsTest::refusedMessageConcernsOnlyItself_data()
{
    lineCutAnywhere_data();
}

void Pop3FaultsTest::refusedMessageConcernsOnlyItself()
{
    QFETCH(bool, pipelining);
    Script script = scriptWith(200, pipelining);
    script.refusedMessages = {1, 7, 8, 200};
    const ScriptedPop3Server server(script);
    Pop3Client client;
    QVERIFY(connectTo(client, server).connected());
    QList<int> refused;
    client.retrieve(upTo(200), [&](int number, const Pop3Client::Retrieved &message) {
        if (const auto *octets = std::get_if<QByteArray>(&message))
            QCOMPARE(*octets, script.messages[number - 1]);
        else
            refused << number;
    });
    QCOMPARE(refused, QList<int>({1, 7, 8, 200}));
    QCOMPARE(client.DeleteMessages({6, 7, 9}), QList<int>({7}));
    QVERIFY(client.Disconnect());
    QCOMPARE(server.deleted(), QList<int>({6, 9}));
}

void Pop3FaultsTest::tooBigMessageIsSkipped()
{
    Script script = scriptWith(3, true);
    Pop3Options options;
    options.limits.messageOctets = 200'000;
    for (const auto &[octets, fault] : {std::pair(200'000, false), std::pair(200'002, true)}) {
        script.messages[1] = QByteArray(octets - 2, 'x') + "\r\n";
        const ScriptedPop3Server server(script);
        const Download result = download(server, options);
        QCOMPARE(result.messages.size(), fault ? 2 : 3);
        QCOMPARE(result.messages.last(), script.messages.last());
        QVERIFY(result.ended);
    }
    script.messages[1] = QByteArray(2'000'000, 'x');
    const ScriptedPop3Server server(script);
    QCOMPARE(download(server, options).fault, Pop3Fault::Kind::LineLost);
}

void Pop3FaultsTest::lineFeedsInsideDoNotEndAMessage()
{
    Script script;
    script.messages = {"Subject: x\r\n\r\none\n.\n+OK faked\n..\ntwo\r\n", "Subject: y\r\n\r\n"};
    const ScriptedPop3Server server(script);
    const Download result = download(server);
    QCOMPARE(result.messages, script.messages);
    QVERIFY(result.ended);
}

void Pop3FaultsTest::withoutPipeliningOneAtATime()
{
    const ScriptedPop3Server server(scriptWith(3, false));
    const Download result = download(server);
    QVERIFY(result.ended);
    const QByteArrayList expected = {"CAPA",   "USER user", "PASS s3cret", "STAT",   "UIDL",   "RETR 1",
                                     "RETR 2", "RETR 3",    "DELE 1",      "DELE 2", "DELE 3", "QUIT"};
    QCOMPARE(server.received(), expected);
}

QTEST_GUILESS_MAIN(Pop3FaultsTest)
#include "Pop3FaultsTest.moc"
