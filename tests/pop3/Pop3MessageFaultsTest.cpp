#include "tests/pop3/Pop3Faults.h"

#include <QTest>

using namespace Qt::StringLiterals;

/// Listings and messages that are not what they should be.
class Pop3MessageFaultsTest : public QObject
{
    Q_OBJECT

private slots:
    void listings_data()
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
        row("duplicates", 3, {u"same"_s, u"same"_s, u"uid-3"_s}, [](Script &s) {
            s.uids = {"same", "same"};
        });
        row("missing-line", 3, {u"a"_s, QString(), u"c"_s}, [](Script &s) { s.uids = {"a", "-", "c"}; });
        row("blanks-inside", 3, {u"a  b"_s, u"b"_s, u"c"_s}, [](Script &s) {
            s.uids = {"a  b", " b ", "c"};
        });
        row("not-printable", 3, {u"a%00b"_s, u"%E7%BC%96%7F"_s, u"%1B[3%091m"_s}, [](Script &s) {
            s.uids = {QByteArray("a\0b", 3), "\xE7\xBC\x96\x7F", "\x1b[3\t1m"};
        });
        row("empty-id", 3, {QString(), u"b"_s, u"c"_s}, [](Script &s) { s.uids = {"", "b", "c"}; });
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
    void listings()
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

    void refusedMessageConcernsOnlyItself_data()
    {
        QTest::addColumn<bool>("pipelining");
        QTest::newRow("one-by-one") << false;
        QTest::newRow("pipelined") << true;
    }
    void refusedMessageConcernsOnlyItself()
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

    void tooBigMessageIsSkipped()
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

    void lineFeedsInsideDoNotEndAMessage()
    {
        Script script;
        script.messages = {"Subject: x\r\n\r\none\n.\n+OK faked\n..\ntwo\r\n", "Subject: y\r\n\r\n"};
        const ScriptedPop3Server server(script);
        const Download result = download(server);
        QCOMPARE(result.messages, script.messages);
        QVERIFY(result.ended);
    }

    void withoutPipeliningOneAtATime()
    {
        const ScriptedPop3Server server(scriptWith(3, false));
        const Download result = download(server);
        QVERIFY(result.ended);
        const QByteArrayList expected = {"CAPA",   "USER user", "PASS s3cret", "STAT",   "UIDL",   "RETR 1",
                                         "RETR 2", "RETR 3",    "DELE 1",      "DELE 2", "DELE 3", "QUIT"};
        QCOMPARE(server.received(), expected);
    }
};

QTEST_GUILESS_MAIN(Pop3MessageFaultsTest)
#include "Pop3MessageFaultsTest.moc"
