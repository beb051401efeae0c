#include "modem/AtChannel.h"

#include "modem/SerialLine.h"
#include "tests/modem/PtyPeer.h"

#include <QSignalSpy>
#include <QTest>
#include <condition_variable>

using namespace std::chrono_literals;

namespace
{

/// Plays a transcript: ">" lines are what it must hear next, "<" lines what it then says. In both, \r \n \z
/// (Ctrl-Z) and \e (ESC) are escapes.
class Transcript final : public PtyPeer
{
public:
    explicit Transcript(const QByteArray &text)
    {
        for (QByteArray line : text.split('|')) {
            line = line.trimmed();
            QByteArray octets = line.sliced(1).trimmed();
            octets.replace("\\r", "\r").replace("\\n", "\n").replace("\\z", "\x1a").replace("\\e", "\x1b");
            octets.replace("\\s", " ");
            m_steps.append({line.front() == '>', octets});
        }
        startServing();
    }
    ~Transcript() override { stopServing(); }

    /// What was heard but not expected, or "not heard: ..."; "" when the transcript was played to its end.
    [[nodiscard]] QByteArray mismatch()
    {
        const std::lock_guard lock(m_mutex);
        if (!m_heard.isEmpty())
            return m_heard;
        return m_next < m_steps.size() ? "not heard: " + m_steps[m_next].octets : QByteArray();
    }

protected:
    void heard(const QByteArray &octets) override
    {
        const std::lock_guard lock(m_mutex);
        m_heard += octets;
        while (m_next < m_steps.size() && m_steps[m_next].isHeard &&
               m_heard.startsWith(m_steps[m_next].octets)) {
            m_heard.remove(0, m_steps[m_next++].octets.size());
            while (m_next < m_steps.size() && !m_steps[m_next].isHeard)
                say(m_steps[m_next++].octets);
        }
    }

private:
    struct Step {
        bool isHeard;
        QByteArray octets;
    };
    QList<Step> m_steps;
    qsizetype m_next = 0;
    QByteArray m_heard;
    std::mutex m_mutex;
};

constexpr auto sync = R"(> AT\r | < \r\nOK\r\n | > AT+CMEE?\r | < \r\n+CMEE: 1\r\n\r\nOK\r\n | )";

ModemLimits shortLimits()
{
    ModemLimits limits;
    limits.syncAttempt = 2s; // a busy machine answers late; only silence is waited out
    limits.resync = 5s;
    limits.command = 2s;
    limits.straggler = 300ms;
    return limits;
}

/// A channel that is in step with the transcript's modem.
struct Fixture {
    explicit Fixture(const QByteArray &transcript) : peer(sync + transcript), channel(line, shortLimits())
    {
        if (line.open(peer.device()) != SerialLine::OpenResult::Opened || !channel.resynchronise(5s))
            qFatal("the fixture cannot start");
    }
    [[nodiscard]] QByteArrayList unsolicited()
    {
        QByteArrayList texts;
        for (const AtLine &said : channel.takeUnsolicited())
            texts.append(said.payload.isEmpty() ? said.text : said.text + "/" + said.payload);
        return texts;
    }

    Transcript peer;
    SerialLine line;
    AtChannel channel;
};

QByteArrayList textsOf(const AtAnswer &answer)
{
    QByteArrayList texts;
    for (const AtLine &line : answer.lines)
        texts.append(line.payload.isEmpty() ? line.text : line.text + "/" + line.payload);
    return texts;
}

} // namespace

class AtChannelTest : public QObject
{
    Q_OBJECT

private slots:
    void answers_data();
    void answers();
    void answersInAnyChunks();
    void prompts_data();
    void prompts();
    void splitsAnywhere_data();
    void splitsAnywhere();
    void tooLongLineIsDropped();
    void outOfStepAfterTimeOut();
    void findsLowerCaseModem();
};

void AtChannelTest::answers_data()
{
    QTest::addColumn<QByteArray>("said");
    QTest::addColumn<QByteArrayList>("lines");
    QTest::addColumn<QByteArrayList>("unsolicited");
    QTest::addColumn<FinalResult::Kind>("kind");
    const auto row = [](const char *name, const char *said, const QByteArrayList &lines,
                        const QByteArrayList &unsolicited, FinalResult::Kind kind = FinalResult::Kind::Ok) {
        QTest::newRow(name) << QByteArray(said) << lines << unsolicited << kind;
    };
    row("plain", R"(\r\n+CSQ: 9,9\r\n\r\nOK\r\n)", {"+CSQ: 9,9"}, {});
    row("echo", R"(AT+CSQ\r\r\n+CSQ: 9,9\r\n\r\nOK\r\n)", {"+CSQ: 9,9"}, {});
    row("echo-in-other-case", R"(at+csq\r\r\n+CSQ: 9,9\r\n\r\nOK\r\n)", {"+CSQ: 9,9"}, {});
    row("lf-only", R"(+CSQ: 9,9\nOK\n)", {"+CSQ: 9,9"}, {});
    row("cr-only", R"(\r+CSQ: 9,9\rOK\r)", {"+CSQ: 9,9"}, {});
    row("lower-case", R"(\r\n+csq: 9,9\r\nok\r\n)", {"+csq: 9,9"}, {});
    row("blank-lines", R"(\r\n\r\n\r\n+CSQ: 9,9\r\n\r\n\s\r\nOK\r\n)", {"+CSQ: 9,9"}, {});
    row("urc-between", R"(\r\nRING\r\n\r\n+CSQ: 9,9\r\n+CMTI: "SM",1\r\nOK\r\n)", {"+CSQ: 9,9"},
        {"RING", "+CMTI: \"SM\",1"});
    row("urc-with-tpdu", R"(\r\n+CMT: ,2\r\n0011\r\n+CSQ: 9,9\r\n\r\nOK\r\n)", {"+CSQ: 9,9"},
        {"+CMT: ,2/0011"});
    row("somebody-hung-up", R"(\r\nNO CARRIER\r\n\r\nOK\r\n)", {}, {"NO CARRIER"});
    row("error", R"(\r\nERROR\r\n)", {}, {}, FinalResult::Kind::Error);
    row("no-result", R"(\r\nOKAY\r\n\r\nOK\r\n)", {}, {"OKAY"});
    row("maker's-error", R"(\r\nCOMMAND NOT SUPPORT\r\n)", {}, {}, FinalResult::Kind::Error);
    row("ok-before-its-line", R"(\r\nOK\r\n\r\n+CSQ: 9,9\r\n)", {"+CSQ: 9,9"}, {});
    row("late-ok-before-the-answer", R"(\r\nOK\r\n\r\n+CSQ: 9,9\r\n\r\nOK\r\n)", {"+CSQ: 9,9"}, {});
    row("ok-missing", R"(\r\n+CSQ: 9,9\r\n)", {"+CSQ: 9,9"}, {});
    row("ok-alone", R"(\r\nOK\r\n)", {}, {});
    row("urc-behind-the-result", R"(\r\n+CSQ: 9,9\r\n\r\nOK\r\n\r\n+CMTI: "SM",2\r\n)", {"+CSQ: 9,9"},
        {"+CMTI: \"SM\",2"});
}

void AtChannelTest::answers()
{
    QFETCH(const QByteArray, said);
    Fixture f(R"(> AT+CSQ\r | < )" + said);
    const QSignalSpy arrived(&f.channel, &AtChannel::unsolicitedArrived);
    const AtAnswer answer = f.channel.exchange("AT+CSQ", "+CSQ:", 2s);
    QCOMPARE(answer.end, AtAnswer::End::Final);
    QTEST(answer.result.kind, "kind");
    QTEST(textsOf(answer), "lines");
    QByteArrayList aside;
    QFETCH(const QByteArrayList, unsolicited);
    QTRY_COMPARE(arrived.isEmpty(), unsolicited.isEmpty());
    QTRY_COMPARE((aside += f.unsolicited()), unsolicited);
    QCOMPARE(f.peer.mismatch(), QByteArray());
}

void AtChannelTest::answersInAnyChunks()
{
    // A listing with an unsolicited line between header and TPDU, an empty place, blank lines.
    const QByteArray said =
        "AT+CMGL=4\r\r\n+CMGL: 1,0,,2\r\n\r\n+CMTI: \"SM\",3\r\n0102\r\n+CMGL: 2,1,,0\r\n\r\n"
        "+CMT: ,1\r\nAA\r\n+CMGL: 3,1,,2\r\n0304\r\n\r\nOK\r\n";
    for (qsizetype cut = 1; cut < said.size(); ++cut) {
        Fixture f(R"(> AT+CMGL=4\r)");
        bool isSaid = false;
        QObject::connect(&f.line, &SerialLine::octetsArrived, [&] {
            if (!std::exchange(isSaid, true))
                f.peer.say(said.sliced(cut));
        });
        f.peer.say(said.first(cut));
        const AtAnswer answer = f.channel.exchangeWithPayload("AT+CMGL=4", "+CMGL:", 2s);
        QCOMPARE(answer.end, AtAnswer::End::Final);
        QCOMPARE(textsOf(answer),
                 (QByteArrayList{"+CMGL: 1,0,,2/0102", "+CMGL: 2,1,,0", "+CMGL: 3,1,,2/0304"}));
        QCOMPARE(f.unsolicited(), (QByteArrayList{"+CMTI: \"SM\",3", "+CMT: ,1/AA"}));
    }
}

void AtChannelTest::prompts_data()
{
    QTest::addColumn<QByteArray>("prompt");
    QTest::addColumn<QByteArray>("result");
    QTest::newRow("plain") << QByteArray(R"(\r\n>\s)") << QByteArray(R"(\r\n+CMGS: 7\r\n\r\nOK\r\n)");
    QTest::newRow("no-blank") << QByteArray(R"(\r\n>)") << QByteArray(R"(\r\n+CMGS: 7\r\n\r\nOK\r\n)");
    QTest::newRow("with-line-end") << QByteArray(R"(\r\n>\s\r\n)") << QByteArray(R"(+CMGS: 7\r\nOK\r\n)");
    QTest::newRow("echo") << QByteArray(R"(AT+CMGS=2\r\r\n>\s)")
                          << QByteArray(R"(0001\z\r\n+CMGS: 7\r\n\r\nOK\r\n)");
    QTest::newRow("echo-joined") << QByteArray(R"(AT+CMGS=2\r>\s)")
                                 << QByteArray(R"(0001\z+CMGS: 7\r\nOK\r\n)");
    QTest::newRow("stray-ok-before") << QByteArray(R"(\r\nOK\r\n\r\n>\s)")
                                     << QByteArray(R"(\r\n+CMGS: 7\r\n\r\nOK\r\n)");
    QTest::newRow("late-refusal-before") << QByteArray(R"(\r\n+CMS ERROR: 500\r\n\r\n>\s)")
                                         << QByteArray(R"(\r\nOK\r\n\r\n+CMGS: 7\r\nOK\r\n)");
    QTest::newRow("ok-missing") << QByteArray(R"(\r\n>\s)") << QByteArray(R"(\r\n+CMGS: 7\r\n)");
    QTest::newRow("urc-everywhere") << QByteArray(R"(\r\n+CMTI: "SM",1\r\n>\s)")
                                    << QByteArray(R"(\r\n+CMTI: "SM",2\r\n+CMGS: 7\r\n+CREG: 5\r\nOK\r\n)");
}

void AtChannelTest::prompts()
{
    QFETCH(const QByteArray, prompt);
    QFETCH(const QByteArray, result);
    Fixture f(R"(> AT+CMGS=2\r | < )" + prompt + R"( | > 0001\z | < )" + result);
    QCOMPARE(f.channel.exchangeToPrompt("AT+CMGS=2", 2s).end, AtAnswer::End::Prompt);
    const AtAnswer answer = f.channel.sendPayload("0001", 2s);
    QVERIFY(answer.isHandedOver);
    QVERIFY(answer.isOk());
    QCOMPARE(textsOf(answer), QByteArrayList{"+CMGS: 7"});
    QCOMPARE(f.peer.mismatch(), QByteArray());
}

void AtChannelTest::splitsAnywhere_data()
{
    QTest::addColumn<QByteArray>("octets");
    QTest::addColumn<QByteArrayList>("lines");
    const QByteArray nul(1, '\0');
    QTest::newRow("cr-lf") << QByteArray("\r\nOK\r\n") << QByteArrayList{"OK"};
    QTest::newRow("three-ends") << QByteArray("a\nb\rc\r\n") << QByteArrayList{"a", "b", "c"};
    QTest::newRow("noise-of-a-waking-modem") << nul + nul + "\x1b" + "AT\r\r\nOK\r\n"
                                             << QByteArrayList{"AT", "OK"};
    QTest::newRow("stale-prompts") << QByteArray("> > \r\n> OK\r\n") << QByteArrayList{"OK"};
    QTest::newRow("unfinished") << QByteArray("\r\n+CMGS: 1") << QByteArrayList{};
}

void AtChannelTest::splitsAnywhere()
{
    QFETCH(const QByteArray, octets);
    for (qsizetype cut = 0; cut <= octets.size(); ++cut) {
        LineSplitter splitter;
        QByteArrayList lines;
        for (const QByteArray &chunk : {octets.first(cut), octets.sliced(cut)}) {
            splitter.feed(chunk);
            while (const auto line = splitter.takeLine())
                lines.append(*line);
        }
        QTEST(lines, "lines");
    }
}

void AtChannelTest::tooLongLineIsDropped()
{
    LineSplitter splitter;
    splitter.feed(QByteArray(ModemBounds::lineOctets, 'x') + '\n');
    QCOMPARE(splitter.takeLine()->size(), ModemBounds::lineOctets);
    for (int i = 0; i < 5; ++i) {
        splitter.feed(QByteArray(ModemBounds::lineOctets, 'x'));
        QVERIFY(!splitter.takeLine());
    }
    splitter.feed("\r\nOK\r\n");
    QCOMPARE(splitter.takeLine(), QByteArray("OK"));
}

void AtChannelTest::outOfStepAfterTimeOut()
{
    // The answer to AT+CSQ comes when AT is asked, and its OK in place of AT's.
    Fixture f(R"(> AT+CSQ\r | > \eAT\r | < \r\n+CSQ: 1,1\r\n\r\nOK\r\n | > AT+CMEE?\r )"
              R"( | < \r\nOK\r\n\r\n+CMEE: 1\r\n\r\nOK\r\n | > AT+CREG?\r | < \r\n+CREG: 0,5\r\nOK\r\n)");
    QCOMPARE(f.channel.exchange("AT+CSQ", "+CSQ:", 30ms).end, AtAnswer::End::TimedOut);
    QVERIFY(!f.channel.isSynchronised());
    const AtAnswer answer = f.channel.exchange("AT+CREG?", "+CREG:", 2s);
    QVERIFY(answer.isOk());
    QCOMPARE(textsOf(answer), QByteArrayList{"+CREG: 0,5"});
    QCOMPARE(f.peer.mismatch(), QByteArray());
}

void AtChannelTest::findsLowerCaseModem()
{
    Transcript peer(
        R"(> AT\r\eATQ0V1\r\eAT\r\eatq0v1\r | < \r\nok\r\n | > at+cmee?\r | < \r\n+cmee: 1\r\nok\r\n)"
        R"( | > at+cpms="SM"\r | < \r\nok\r\n)");
    SerialLine line;
    QCOMPARE(line.open(peer.device()), SerialLine::OpenResult::Opened);
    ModemLimits limits = shortLimits();
    limits.syncAttempt = 200ms; // three attempts stay without an answer
    AtChannel channel(line, limits);
    QVERIFY(channel.resynchronise(5s));
    QVERIFY(channel.exchange("AT+CPMS=\"SM\"", {}, 2s).isOk());
}

QTEST_GUILESS_MAIN(AtChannelTest)
#include "AtChannelTest.moc"
