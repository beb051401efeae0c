#include "tests/simulator/SerialPeer.h"
#include "tests/support/SimulatorProcess.h"

#include <QRegularExpression>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

/// The steps of playDialogue(), parted by " / ", with words for what comes often.
QStringList dialogue(QString steps)
{
    const QList<std::pair<QString, QString>> words{
        {u"'"_s, u"\""_s},
        {u"SEND"_s, u"> AT+CMGS=17 / <> / ] PDU"_s},
        {u"SENT"_s, u"< +CMGS: 1 / OK"_s},
        // "你好" to 13810008388: 17 octets behind the absent service-centre address.
        {u"PDU"_s, u"0001000B813118008083F80008044F60597D"_s},
        {u"NOTIFY"_s, u"> AT+CNMI=2,1 / OK"_s},
        {u"HI"_s, u"! deliver --time 2024-05-31T12:00:00+08:00 +8613800138000 Hi"_s},
        // The same as a TPDU; 22 octets behind the service centre.
        {u"DELIVER"_s, u"0891683108100005F0040D91683108108300F00000425013210000230"
                       "2C834"_s},
        {u"LONG"_s, QString(5000, u'x')},
    };
    for (const auto &[word, meaning] : words)
        steps.replace(word, meaning);
    QStringList list = steps.split(u" / "_s);
    list.replaceInStrings(QRegularExpression(u"^OK$"_s), u"< OK"_s);
    return list;
}

} // namespace

class SimulatorDialogueTest : public QObject
{
    Q_OBJECT

private slots:
    void dialogues_data();
    void dialogues()
    {
        QFETCH(QStringList, steps);
        SimulatorProcess simulator({u"--echo"_s, u"off"_s});
        SerialPeer peer(simulator.devicePath());
        QCOMPARE(playDialogue(peer, steps, [&simulator](const QString &line) { simulator.command(line); }),
                 QString());
    }

    void logTellsAcceptedFromRefused()
    {
        SimulatorProcess simulator({u"--echo"_s, u"off"_s});
        SerialPeer peer(simulator.devicePath());
        const QStringList steps = dialogue(
            u"! refuse-number 13810008388 21 / SEND / < +CMS ERROR: 21 / ! refuse-number 13810008388 0 / "
            u"SEND / SENT"
            " / > AT+CMGS=22 / <> / ] 0041000B813118008083F800080905000307020141AA / < +CMS ERROR: 304"
            " / > AT+CMGS=23 / <> / ] 0041000B813118008083F80008080500030702024F60 / < +CMS ERROR: 304"
            " / > AT+CMGS=21 / <> / ] 0041000B813118008083F8000808050003070202597D / < +CMGS: 2 / OK"
            " / > AT+CMGS=21 / <> / ] 0041000B813118008083F80008080500030702014F60 / < +CMGS: 3 / OK"_s);
        QCOMPARE(playDialogue(peer, steps, [&simulator](const QString &line) { simulator.command(line); }),
                 QString());
        const QString number = u"13810008388"_s;
        const QList<SentMessage> parts{
            {number, u"你好"_s, 0, 1, 1}, {number, u"好"_s, 7, 2, 2}, {number, u"你"_s, 7, 1, 2}};
        QCOMPARE(simulator.sent(), parts);
        const QList<SentMessage> whole{{number, u"你好"_s, 0, 1, 1}, {number, u"你好"_s, 7, 1, 2}};
        QCOMPARE(simulator.sentWhole(), whole);
        QCOMPARE(simulator.command(u"sent"_s), u"3"_s);
    }

    void deliveredTextsKeepEveryCharacter()
    {
        // Through the control channel, the store and the listing: quotes, line ends, a NUL, an emoji.
        SimulatorProcess simulator({u"--echo"_s, u"off"_s, u"--do"_s, u"storage-size 5"_s});
        QCOMPARE(simulator.deliver(u"10086"_s, u"a'\"\\\r\n\0 你😀"_s), u"1 delivered"_s);
        SerialPeer peer(simulator.devicePath());
        peer.write("AT+CMGL=0\r");
        const QByteArray head = "\r\n+CMGL: 1,0,,38\r\n0891683108100005F00405810180F60008";
        const QByteArray text = "16006100270022005C000D000A000000204F60D83DDE00\r\n\r\nOK\r\n";
        constexpr qsizetype timestampDigits = 14;
        const QByteArray answer = peer.read(head.size() + timestampDigits + text.size());
        QCOMPARE(answer.first(head.size()), head);
        QCOMPARE(answer.mid(head.size() + timestampDigits), text);
    }
};

void SimulatorDialogueTest::dialogues_data()
{
    QTest::addColumn<QStringList>("steps");
    const auto row = [](const char *name, const char *steps) {
        QTest::newRow(name) << dialogue(QString::fromUtf8(steps));
    };
    row("echo until ATE0",
        R"(> ATE1 / OK / > AT / = AT\r\r\nOK\r\n / > ATE0 / = ATE0\r\r\nOK\r\n / > AT / OK)");
    row("the first error ends a line",
        "> AT+CMGF?;+NONE;+CMGF=1 / < +CMGF: 0 / < ERROR / > AT+CMGF? / < +CMGF: 0 / OK");
    row("a command line without end", "} ATxLONG / >  / < ERROR");

    row("send", "SEND / SENT");
    row("body sent before the prompt", "} AT+CMGS=17\rPDU\x1a / <> / SENT");
    row("cancelled", "> AT+CMGS=17 / <> / } PDU / ^ / OK / > AT+CMGF? / < +CMGF: 0 / OK");
    row("no hexadecimal", "> AT+CMGS=17 / <> / ] 00x1 / < +CMS ERROR: 304");
    row("wrong length", "> AT+CMGS=18 / <> / ] PDU / < +CMS ERROR: 304");
    row("no TPDU", "> AT+CMGS=2 / <> / ] 000100 / < +CMS ERROR: 304");
    row("planned fates come in order", "! accept 1 / ! refuse 1 38 / ! bare-ok 1 / SEND / SENT"
                                       " / SEND / < +CMS ERROR: 38 / SEND / OK / SEND / < +CMGS: 2 / OK");
    row("no prompt", "! mute-prompt 1 / > AT+CMGS=17 / ^ / SEND / SENT");
    row("no result, then AT answers", "! mute 1 / SEND / ^ / > AT / OK");
    // The late result lands between a later command and whatever follows: nothing of it is lost or doubled.
    row("late result", "! late 1 300 / SEND / > AT / OK / SENT");
    row("slow result holds input back", "! slow 1 100 / SEND / > AT / SENT / OK");
    row("unsolicited between command and answer",
        "! urc-mid +CMTI: 'SM',7 / > AT+CMGF? / < +CMTI: 'SM',7 / < +CMGF: 0 / OK");
    row("unsolicited before the result", "! urc-mid-send RING / SEND / < RING / SENT");

    row("not registered", "> AT+CREG=1 / OK / ! registered 0 / < +CREG: 0 / > AT+CREG? / < +CREG: 1,0 / OK"
                          " / SEND / < +CMS ERROR: 331 / ! registered 5 / < +CREG: 5 / SEND / SENT");
    row("PIN",
        "! pin required 4711 / > AT+CMEE=1;+CPIN? / < +CPIN: SIM PIN / OK / > AT+CMGL=4 / < +CMS ERROR: 311"
        " / > AT+CPIN='0000' / < +CME ERROR: 16 / > AT+CPIN='4711' / OK / > AT+CMGL=4 / OK");
    row("SIM busy", "! sim busy 2 / > AT+CPMS? / < +CMS ERROR: 314 / > AT+CMEE=1;+CPIN? / < +CME ERROR: 14"
                    " / > AT+CPIN? / < +CPIN: READY / OK");

    row("receive, list, read, delete",
        "NOTIFY / HI / < +CMTI: 'SM',1 / > AT+CMGL=0 / < +CMGL: 1,0,,22|DELIVER / OK"
        " / > AT+CMGL=0 / OK / > AT+CMGL=1 / < +CMGL: 1,1,,22|DELIVER / OK"
        " / > AT+CMGR=1 / < +CMGR: 1,,22|DELIVER / OK / > AT+CMGD=1 / OK"
        " / > AT+CMGR=1 / < +CMS ERROR: 321");
    row("silent store", "NOTIFY / ! notify off / HI / > AT+CMGL=4 / < +CMGL: 1,0,,22|DELIVER / OK");
    row("full store, then room",
        "! storage-size 1 / NOTIFY / HI / < +CMTI: 'SM',1 / HI / > AT+CMGD=1 / OK / < +CMTI: 'SM',1");
    row("memories", "! memories 2 / > AT+CPMS='SM','SM','SM' / < +CMS ERROR: 302 / > AT+CPMS='ME','SM'"
                    " / < +CPMS: 0,50,0,50 / OK / ! receive-into ME / NOTIFY / HI / < +CMTI: 'ME',1"
                    " / > AT+CMGR=1 / < +CMGR: 0,,22|DELIVER / OK");
    row("notification ranges", "! cnmi (0-1),(0,1),(0),(0),(0) / > AT+CNMI=2,1 / < +CMS ERROR: 303"
                               " / > AT+CNMI=1,1,0,0,0 / OK");
    row("acknowledged direct message",
        "> AT+CSMS=1;+CNMI=2,2 / < +CSMS: 1,1,1 / OK / HI / < +CMT: ,22|DELIVER"
        " / > AT+CNMA / OK / > AT+CNMA / < +CMS ERROR: 340");
    row("a direct message with a copy", "! direct-copy on / > AT+CNMI=2,2 / OK / HI / < +CMT: ,22|DELIVER"
                                        " / > AT+CMGL=4 / < +CMGL: 1,0,,22|DELIVER / OK");
    row("raw octets", "! deliver-tpdu 0004 / > AT+CMGL=4 / < +CMGL: 1,0,,1|0004 / OK");
    row("text mode",
        "> AT+CMGF=1;+CSCS='GSM' / OK / > AT+CMGS='+861380' / <> / ] Hi / SENT / HI / > AT+CMGL='ALL'"
        " / < +CMGL: 1,'REC UNREAD','+8613800138000',,'24/05/31,12:00:00+32'|Hi / OK");
    row("a TPDU for a modem in text mode goes out as a text", "! format 1 / ! restart silent / SEND / SENT");
    row("given answers come in order, then the usual one",
        "! answer always +CMGF? +CMGF: 9|OK / ! answer 1 AT+CMGF? ERROR / ! answer --raw 1 +CMGF? \\x41\\r\\n"
        " / > AT+CMGF? / < ERROR / > AT+CMGF? / = A\\r\\n / > AT+CMGF? / < +CMGF: 9 / OK / ! no-answers"
        " / > AT+CMGF? / < +CMGF: 0 / OK");
    row("edits wait for an answer with that line",
        "! edit 1 +CMGL drop 2 / ! edit 1 +CMGL insert -1 RING / > AT+CMGL=4 / OK / HI / > AT+CMGL=4"
        " / < RING|+CMGL: 1,0,,22 / OK / ! edit 1 +CMGR garble 1 / ! edit 1 +CMGR replace 2 0004 / > "
        "AT+CMGR=1"
        " / < +CMGR:~1,,22|0004 / OK");
    row("OK first, none, late",
        "! edit 1 +CMGF? ok-first / > AT+CMGF? / OK / < +CMGF: 0 / ! edit 1 +CMGF? no-final"
        " / > AT+CMGF? / < +CMGF: 0 / ! edit 1 > late 50 / SEND / SENT");
    row("a restart instead of a result", "! at-start 0 ^BOOT / NOTIFY / ! edit 1 > restart / SEND / < ^BOOT"
                                         " / > AT+CNMI? / < +CNMI: 0,0,0,0,0 / OK");
    row("an outage", "! outage 100000 / > AT+CREG? / < +CREG: 0,2 / OK / SEND / < +CMS ERROR: 500");
    row("MT is SM and ME", "! memories 3 only mt / ! storage-size 1 / > AT+CPMS='MT','MT','MT';+CNMI=2,1"
                           " / < +CPMS: 0,2,0,2,0,2 / OK / HI / < +CMTI: 'MT',1 / HI / < +CMTI: 'MT',2"
                           " / > AT+CMGD=1 / OK / > AT+CMGR=2 / < +CMGR: 0,,22|DELIVER / OK");
    row("a store that keeps what it is told to remove",
        "! deletes off / ! first-index 123456789 / HI / > AT+CMGD=123456789 / OK / > AT+CMGR=123456789"
        " / < +CMGR: 0,,22|DELIVER / OK");
}

QTEST_GUILESS_MAIN(SimulatorDialogueTest)
#include "SimulatorDialogueTest.moc"
