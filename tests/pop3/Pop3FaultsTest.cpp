#include "tests/pop3/Pop3Session.h"
#include "tests/support/Rows.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Kind = Pop3Fault::Kind;

/// Listings and messages that are not what they should be, and lines that drip or fall silent.
class Pop3FaultsTest : public QObject
{
    Q_OBJECT

private slots:
    void listings_data()
    {
        const Rows<Script, QString, int> rows("script", "uids", "count");
        const auto row = [&](const char *name, Script script, const QString &uids, int count = 3) {
            script.messages = numberedMails(3);
            rows(name, script, uids, count);
        };
        const QString usual = u"uid-1,uid-2,uid-3"_s;
        row("usual", {}, usual);
        row("quotes", {.uids = {"it's", "\"x\";--", "%_[]{}|\\~"}}, u"it's,\"x\";--,%_[]{}|\\~"_s);
        row("none for the second", {.uids = {"a", "-", "c"}}, u"a,,c"_s);
        row("blanks inside and around", {.uids = {"a  b", " b ", "c"}}, u"a  b,b,c"_s);
        row("not printable", {.uids = {"a\0b"_ba, "\xE7\xBC\x96\x7F", "\x1b[3\t1m"}},
            u"a%00b,%E7%BC%96%7F,%1B[3%091m"_s);
        row("no UIDL", {.knowsUidl = false}, u",,"_s);
        row("no UIDL, no STAT", {.statAnswer = "-ERR", .knowsUidl = false}, {}, 0);
        row("no UIDL, STAT absurd", {.statAnswer = "+OK 2147483647 1", .knowsUidl = false}, u",,,,,,,,,"_s,
            1'000'000);
        row("LF only", {.bareLineFeeds = true}, usual);
    }
    void listings()
    {
        QFETCH(Script, script);
        for (const bool pipelining : {false, true}) {
            script.pipelining = pipelining;
            const ScriptedPop3Server server(script);
            const Pop3Session session(server);
            QTEST(session.uids.join(u','), "uids");
            QTEST(session.count, "count");
            QCOMPARE(session.messages.size(), qMin(session.count, 3));
            QCOMPARE(server.received().count("UIDL"), 1);
            QVERIFY(session.isEnded);
        }
    }

    void drippingServer_data()
    {
        // leastOctets: in 100 ms, of about 20 that come; most: milliseconds.
        const Rows<int, int, bool> row("leastOctets", "most", "isGivenUp");
        row("too slow", 100, 10'000, true);
        row("fast enough", 1, 10'000, false);
        row("fast enough but endless", 1, 100, true);
    }
    void drippingServer()
    {
        QFETCH(int, leastOctets);
        QFETCH(int, most);
        QFETCH(bool, isGivenUp);
        const Script script{.messages = {QByteArray(60, 'x') + "\r\n"}, .dripsAt = "RETR"};
        Pop3Options options;
        options.limits.speedWindow = 100ms;
        options.limits.windowLeastOctets = leastOctets;
        options.limits.exchange = std::chrono::milliseconds(most);
        const ScriptedPop3Server server(script);
        const Pop3Session session(server, options);
        QCOMPARE(session.fault, isGivenUp ? std::optional(Kind::TimedOut) : std::nullopt);
        QCOMPARE(session.messages, isGivenUp ? QByteArrayList() : script.messages);
    }

    void messageTooBig()
    {
        Pop3Options options;
        options.limits.messageOctets = 200'000;
        Script script{.messages = numberedMails(3), .pipelining = true};
        for (const int octets : {200'000, 200'002, 2'000'000}) {
            script.messages[1] = QByteArray(octets - 2, 'x') + "\r\n";
            const ScriptedPop3Server server(script);
            const Pop3Session session(server, options);
            QCOMPARE(session.fault, octets > 400'000 ? std::optional(Kind::LineLost) : std::nullopt);
            QCOMPARE(session.refused.contains(2), octets == 200'002);
            QCOMPARE(session.messages.size(), octets == 200'000 ? 3 : octets == 200'002 ? 2 : 1);
        }
    }

    void requestsRunAhead()
    {
        // Sizes around the window's: many small ones, some larger than all of it.
        Script script{.pipelining = true};
        QList<int> backwards;
        for (int number = 1; number <= 150; ++number) {
            script.messages += QByteArray(number % 75 == 0 ? 3'000'000 : 2000 + number, 'x') + "\r\n";
            backwards.prepend(number);
        }
        const ScriptedPop3Server server(script);
        int asked = 0;
        Pop3Options options;
        options.trace = [&](Pop3Direction, const QString &line) { asked += line.startsWith(u"RETR "_s); };
        Pop3Client client(options);
        QVERIFY(connectTo(client, server).connected());
        QList<int> seen;
        qsizetype ahead = 0;
        client.retrieve(backwards, [&](int number, const Pop3Client::Retrieved &message) {
            seen += number;
            ahead = qMax(ahead, asked - seen.size());
            QVERIFY(std::get<QByteArray>(message) == script.messages[number - 1]);
        });
        QCOMPARE(seen, backwards);
        QCOMPARE(ahead, options.limits.windowCommands - 1);
        QVERIFY(client.DeleteMessages({7, 200}) == QList<int>{200});
        QVERIFY(client.Disconnect());
        QCOMPARE(server.deleted(), QList<int>{7});
    }
};

QTEST_GUILESS_MAIN(Pop3FaultsTest)
#include "Pop3FaultsTest.moc"
