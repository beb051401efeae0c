#include "tests/pop3/Pop3Faults.h"

#include <QElapsedTimer>
#include <QTest>

using namespace Qt::StringLiterals;
using enum Pop3ConnectOutcome;

/// Lines that break, fall silent or drip.
class Pop3LineFaultsTest : public QObject
{
    Q_OBJECT

private slots:
    void lineCutAnywhere_data()
    {
        QTest::addColumn<bool>("pipelining");
        QTest::newRow("one-by-one") << false;
        QTest::newRow("pipelined") << true;
    }
    void lineCutAnywhere()
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

    void silentServer_data()
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
    void silentServer()
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

    void drippingServer_data()
    {
        QTest::addColumn<QByteArray>("verb");
        QTest::addColumn<int>("leastOctets"); // in 100 ms, of about 10 that come
        QTest::addColumn<int>("total");
        QTest::addColumn<bool>("isGivenUp");
        QTest::newRow("too-slow") << QByteArray("RETR") << 100 << 10'000 << true;
        QTest::newRow("in-a-status-line") << QByteArray("STAT") << 100 << 10'000 << true;
        QTest::newRow("fast-enough") << QByteArray("RETR") << 2 << 10'000 << false;
        QTest::newRow("fast-enough-but-endless") << QByteArray("RETR") << 2 << 300 << true;
    }
    void drippingServer()
    {
        QFETCH(QByteArray, verb);
        QFETCH(int, leastOctets);
        QFETCH(int, total);
        QFETCH(bool, isGivenUp);
        Script script = scriptWith(1, false);
        script.messages = {QByteArray(60, 'x') + "\r\n"};
        script.statAnswer = "+OK 1 " + QByteArray(60, '9');
        script.dripsAt = verb;
        script.dripMilliseconds = 10;
        const ScriptedPop3Server server(script);
        Pop3Options options;
        options.limits.speedWindow = std::chrono::milliseconds(100);
        options.limits.windowLeastOctets = leastOctets;
        options.limits.exchange = std::chrono::milliseconds(total);
        const Download result = download(server, options);
        QCOMPARE(result.fault.has_value(), isGivenUp);
        if (isGivenUp)
            QCOMPARE(result.fault, Pop3Fault::Kind::TimedOut);
        else
            QCOMPARE(result.messages, script.messages);
    }

    void stopReleasesASilentLine()
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
};

QTEST_GUILESS_MAIN(Pop3LineFaultsTest)
#include "Pop3LineFaultsTest.moc"
