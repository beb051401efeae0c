#include "tests/simulator/SerialPeer.h"
#include "tests/support/SimulatorProcess.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{
// "你好" to 13810008388: 17 octets behind the absent service-centre address.
const QString samplePdu = u"0001000B813118008083F80008044F60597D"_s;
const QString sendCommand = u"> AT+CMGS=17"_s;
const QString pduBody = u"] "_s + samplePdu;
// "Hi" from +8613800138000 on 2024-05-31 at 12:00:00, +08:00; 22 octets behind the service centre.
const QString hi = u"--time 2024-05-31T12:00:00+08:00 +8613800138000 Hi"_s;
const QString hiPdu = u"0891683108100005F0040D91683108108300F00000425013210000230"
                      "2C834"_s;
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
        const QStringList steps{u"! refuse-number 13810008388 21"_s,
                                sendCommand,
                                u"<>"_s,
                                pduBody,
                                u"< +CMS ERROR: 21"_s,
                                u"! refuse-number 13810008388 0"_s,
                                sendCommand,
                                u"<>"_s,
                                pduBody,
                                u"< +CMGS: 1"_s,
                                u"< OK"_s,
                                u"> AT+CMGS=22"_s,
                                u"<>"_s,
                                u"] 0041000B813118008083F800080905000307020141AA"_s,
                                u"< +CMS ERROR: 304"_s,
                                u"> AT+CMGS=23"_s,
                                u"<>"_s,
                                u"] 0041000B813118008083F80008080500030702024F60"_s,
                                u"< +CMS ERROR: 304"_s,
                                u"> AT+CMGS=21"_s,
                                u"<>"_s,
                                u"] 0041000B813118008083F8000808050003070202597D"_s,
                                u"< +CMGS: 2"_s,
                                u"< OK"_s,
                                u"> AT+CMGS=21"_s,
                                u"<>"_s,
                                u"] 0041000B813118008083F80008080500030702014F60"_s,
                                u"< +CMGS: 3"_s,
                                u"< OK"_s};
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
    const auto row = [](const char *name, const QStringList &steps) { QTest::newRow(name) << steps; };
    const QString ok = u"< OK"_s;
    const QString accepted = u"< +CMGS: 1"_s;

    row("echo shows what was typed until ATE0", {u"> ATE1"_s, ok, u"> AT"_s, u"= AT\\r\\r\\nOK\\r\\n"_s,
                                                 u"> ATE0"_s, u"= ATE0\\r\\r\\nOK\\r\\n"_s, u"> AT"_s, ok});
    row("numeric results", {u"> ATV0"_s, u"= 0\\r"_s, u"> AT+NONE"_s, u"= 4\\r"_s, u"> AT+CMGF?"_s,
                            u"= +CMGF: 0\\r\\n0\\r"_s, u"> ATV1"_s, ok});
    row("quiet", {u"> ATQ1"_s, u"> AT+CMGF?"_s, u"< +CMGF: 0"_s, u"> ATQ0"_s, ok});
    row("the first error ends a line",
        {u"> AT+CMGF?;+NONE;+CMGF=1"_s, u"< +CMGF: 0"_s, u"< ERROR"_s, u"> AT+CMGF?"_s, u"< +CMGF: 0"_s, ok});
    row("a line without AT is not answered", {u"> hello"_s, u"> "_s, u"} \n\r\n"_s});
    row("backspace", {u"} ATX\bI\b+CMGF?\r"_s, u"< +CMGF: 0"_s, ok});
    row("error levels",
        {u"> AT+COPS=9"_s, u"< ERROR"_s, u"> AT+CMEE=1"_s, ok, u"> AT+COPS=9"_s, u"< +CME ERROR: 50"_s,
         u"> AT+CMEE=2;+COPS=9"_s, u"< +CME ERROR: Incorrect parameters"_s, u"> AT+CMGR=1"_s,
         u"< +CMS ERROR: invalid memory index"_s});
    row("a command line without end", {u"} AT"_s + QString(5000, u'x'), u"> "_s, u"< ERROR"_s});
    row("ATZ forgets", {u"> AT+CMGF=1;+CNMI=2,1"_s, ok, u"> ATZ"_s, ok, u"> AT+CMGF?;+CNMI?"_s,
                        u"< +CMGF: 0"_s, u"< +CNMI: 0,0,0,0,0"_s, ok});

    row("send", {sendCommand, u"<>"_s, pduBody, accepted, ok});
    row("send in small letters with line ends",
        {sendCommand, u"<>"_s, u"} "_s + samplePdu.toLower() + u"\r\n\x1a"_s, accepted, ok});
    row("send with body sent before the prompt",
        {u"} AT+CMGS=17\r"_s + samplePdu + u'\x1a', u"<>"_s, accepted, ok});
    row("cancelled",
        {sendCommand, u"<>"_s, u"} "_s + samplePdu, u"^"_s, ok, u"> AT+CMGF?"_s, u"< +CMGF: 0"_s, ok});
    row("no hexadecimal", {sendCommand, u"<>"_s, u"] 00x1"_s, u"< +CMS ERROR: 304"_s});
    row("wrong length", {u"> AT+CMGS=18"_s, u"<>"_s, pduBody, u"< +CMS ERROR: 304"_s});
    row("no TPDU", {u"> AT+CMGS=2"_s, u"<>"_s, u"] 000100"_s, u"< +CMS ERROR: 304"_s});
    row("length 0", {u"> AT+CMGS=0"_s, u"< +CMS ERROR: 304"_s, u"> AT+CMGS"_s, u"< +CMS ERROR: 304"_s});
    row("prompts differ",
        {u"! prompt bare"_s, sendCommand, u"= >"_s, pduBody, accepted, ok, u"! prompt line"_s, sendCommand,
         u"= \\r\\n>\\r\\n"_s, pduBody, u"< +CMGS: 2"_s, ok});

    row("planned fates come in order", {u"! accept 1"_s,
                                        u"! refuse 1 38"_s,
                                        u"! bare-ok 1"_s,
                                        sendCommand,
                                        u"<>"_s,
                                        pduBody,
                                        accepted,
                                        ok,
                                        sendCommand,
                                        u"<>"_s,
                                        pduBody,
                                        u"< +CMS ERROR: 38"_s,
                                        sendCommand,
                                        u"<>"_s,
                                        pduBody,
                                        ok,
                                        sendCommand,
                                        u"<>"_s,
                                        pduBody,
                                        u"< +CMGS: 2"_s,
                                        ok});
    row("a forgotten plan",
        {u"! refuse 1 38"_s, u"! no-plan"_s, sendCommand, u"<>"_s, pduBody, accepted, ok});
    row("no prompt",
        {u"! mute-prompt 1"_s, sendCommand, u"^"_s, sendCommand, u"<>"_s, pduBody, accepted, ok});
    row("no result, then AT answers", {u"! mute 1"_s, sendCommand, u"<>"_s, pduBody, u"^"_s, u"> AT"_s, ok});
    // The late result lands between a later command and whatever follows: nothing of it is lost or doubled.
    row("late result", {u"! late 1 300"_s, sendCommand, u"<>"_s, pduBody, u"> AT"_s, ok, accepted, ok});
    row("slow result holds input back",
        {u"! slow 1 100"_s, sendCommand, u"<>"_s, pduBody, u"> AT"_s, accepted, ok, ok});
    row("latency holds input back", {u"! latency 50"_s, sendCommand, u"<>"_s, pduBody, u"> AT+CMGF?"_s,
                                     accepted, ok, u"< +CMGF: 0"_s, ok});
    row("unsolicited between command and answer",
        {u"! urc-mid +CMTI: \"SM\",7"_s, u"> AT+CMGF?"_s, u"< +CMTI: \"SM\",7"_s, u"< +CMGF: 0"_s, ok});
    row("unsolicited before the result",
        {u"! urc-mid-send RING"_s, sendCommand, u"<>"_s, pduBody, u"< RING"_s, accepted, ok});
    row("unsolicited now", {u"! urc ^BOOT"_s, u"< ^BOOT"_s});

    row("not registered",
        {u"> AT+CREG=1"_s, ok, u"! registered 0"_s, u"< +CREG: 0"_s, u"> AT+CREG?;+CSQ"_s, u"< +CREG: 1,0"_s,
         u"< +CSQ: 99,99"_s, ok, sendCommand, u"<>"_s, pduBody, u"< +CMS ERROR: 331"_s, u"! registered 5"_s,
         u"< +CREG: 5"_s, sendCommand, u"<>"_s, pduBody, accepted, ok});
    row("PIN", {u"! pin required 4711"_s, u"> AT+CMEE=1;+CPIN?"_s, u"< +CPIN: SIM PIN"_s, ok,
                u"> AT+CMGL=4"_s, u"< +CMS ERROR: 311"_s, u"> AT+CPIN=\"0000\""_s, u"< +CME ERROR: 16"_s,
                u"> AT+CPIN=\"4711\""_s, ok, u"> AT+CMGL=4"_s, ok});
    row("three wrong PINs", {u"! pin required"_s, u"> AT+CPIN=1"_s, u"< ERROR"_s, u"> AT+CPIN=1"_s,
                             u"< ERROR"_s, u"> AT+CPIN=1"_s, u"< ERROR"_s, u"> AT+CPIN?"_s,
                             u"< +CPIN: SIM PUK"_s, ok, u"> AT+CPIN=1234"_s, u"< ERROR"_s});
    row("SIM busy", {u"! sim busy 2"_s, u"> AT+CPMS?"_s, u"< +CMS ERROR: 314"_s, u"> AT+CMEE=1;+CPIN?"_s,
                     u"< +CME ERROR: 14"_s, u"> AT+CPIN?"_s, u"< +CPIN: READY"_s, ok});

    row("receive, list, read, delete",
        {u"> AT+CNMI=2,1"_s, ok, u"! deliver "_s + hi, u"< +CMTI: \"SM\",1"_s, u"> AT+CMGL=0"_s,
         u"< +CMGL: 1,0,,22|"_s + hiPdu, ok, u"> AT+CMGL=0"_s, ok, u"> AT+CMGL=1"_s,
         u"< +CMGL: 1,1,,22|"_s + hiPdu, ok, u"> AT+CMGR=1"_s, u"< +CMGR: 1,,22|"_s + hiPdu, ok,
         u"> AT+CMGD=1"_s, ok, u"> AT+CMGR=1"_s, u"< +CMS ERROR: 321"_s});
    row("delete flags keep drafts and unread",
        {u"! store-draft d"_s, u"! deliver "_s + hi, u"! deliver "_s + hi, u"> AT+CMGR=2"_s,
         u"< +CMGR: 0,,22|"_s + hiPdu, ok, u"> AT+CMGD=0,2"_s, ok, u"> AT+CMGD=?"_s,
         u"< +CMGD: (1,3),(0-4)"_s, ok, u"> AT+CMGD=1,4"_s, ok, u"> AT+CPMS?"_s,
         u"< +CPMS: \"SM\",0,50,\"SM\",0,50,\"SM\",0,50"_s, ok});
    row("silent store", {u"> AT+CNMI=2,1"_s, ok, u"! notify off"_s, u"! deliver "_s + hi, u"> AT+CMGL=4"_s,
                         u"< +CMGL: 1,0,,22|"_s + hiPdu, ok});
    row("full store, then room",
        {u"! storage-size 1"_s, u"> AT+CNMI=2,1"_s, ok, u"! deliver "_s + hi, u"< +CMTI: \"SM\",1"_s,
         u"! deliver "_s + hi, u"> AT+CMGD=1"_s, ok, u"< +CMTI: \"SM\",1"_s});
    row("memories", {u"! memories 2"_s, u"> AT+CPMS=\"SM\",\"SM\",\"SM\""_s, u"< +CMS ERROR: 302"_s,
                     u"> AT+CPMS=\"ME\",\"SM\""_s, u"< +CPMS: 0,50,0,50"_s, ok, u"! receive-into ME"_s,
                     u"> AT+CNMI=2,1"_s, ok, u"! deliver "_s + hi, u"< +CMTI: \"ME\",1"_s, u"> AT+CMGR=1"_s,
                     u"< +CMGR: 0,,22|"_s + hiPdu, ok, u"> AT+CPMS=\"XX\""_s, u"< +CMS ERROR: 302"_s});
    row("notification ranges",
        {u"! cnmi (0-1),(0,1),(0),(0),(0)"_s, u"> AT+CNMI=2,1"_s, u"< +CMS ERROR: 303"_s, u"> AT+CNMI=?"_s,
         u"< +CNMI: (0-1),(0,1),(0),(0),(0)"_s, ok, u"> AT+CNMI=1,1,0,0,0"_s, ok});
    row("buffered notifications", {u"> AT+CNMI=0,1"_s, ok, u"! deliver "_s + hi, u"> AT"_s, ok,
                                   u"> AT+CNMI=2,1"_s, u"< +CMTI: \"SM\",1"_s, ok});
    row("direct message", {u"> AT+CNMI=2,2"_s, ok, u"! deliver "_s + hi, u"< +CMT: ,22|"_s + hiPdu,
                           u"> AT+CMGL=4"_s, ok, u"> AT+CNMA"_s, u"< +CMS ERROR: 340"_s});
    row("acknowledged direct message",
        {u"> AT+CSMS=1;+CNMI=2,2"_s, u"< +CSMS: 1,1,1"_s, ok, u"! deliver "_s + hi, u"< +CMT: ,22|"_s + hiPdu,
         u"> AT+CNMA"_s, ok, u"> AT+CNMA"_s, u"< +CMS ERROR: 340"_s});
    QString flashPdu = hiPdu;
    flashPdu.replace(u"F00000"_s, u"F00010"_s);
    row("flash",
        {u"> AT+CNMI=2,1"_s, ok, u"! deliver-flash "_s + hi, u"< +CMT: ,22|"_s + flashPdu, u"> AT+CMGL=4"_s,
         ok, u"! flash store"_s, u"! deliver-flash "_s + hi, u"< +CMTI: \"SM\",1"_s});
    row("stored status report",
        {u"> AT+CNMI=2,1,0,2"_s, ok, u"! deliver-report 10086 5"_s, u"< +CDSI: \"SM\",1"_s});
    row("raw octets", {u"! deliver-tpdu 0004"_s, u"> AT+CMGL=4"_s, u"< +CMGL: 1,0,,1|0004"_s, ok});
    row("parts in the given order",
        {u"> AT+CNMI=2,1"_s, ok, u"! deliver-parts 10086 2,1,2 "_s + QString(71, u'你'),
         u"< +CMTI: \"SM\",1"_s, u"< +CMTI: \"SM\",2"_s, u"< +CMTI: \"SM\",3"_s});
    row("text mode", {u"> AT+CMGF=1;+CSCS=\"GSM\""_s, ok, u"> AT+CMGS=\"+861380\""_s, u"<>"_s, u"] Hi"_s,
                      accepted, ok, u"! deliver "_s + hi, u"> AT+CMGL=\"ALL\""_s,
                      u"< +CMGL: 1,\"REC UNREAD\",\"+8613800138000\",,\"24/05/31,12:00:00+32\"|Hi"_s, ok});
    row("a TPDU for a modem in text mode goes out as a text",
        {u"! format 1"_s, u"! restart silent"_s, sendCommand, u"<>"_s, pduBody, accepted, ok});
    row("given answers come in order, then the usual one",
        {u"! answer always +CMGF? +CMGF: 9|OK"_s, u"! answer 1 AT+CMGF? ERROR"_s,
         u"! answer --raw 1 +CMGF? \\x41\\r\\n"_s, u"> AT+CMGF?"_s, u"< ERROR"_s, u"> AT+CMGF?"_s,
         u"= A\\r\\n"_s, u"> AT+CMGF?"_s, u"< +CMGF: 9"_s, ok, u"! no-answers"_s, u"> AT+CMGF?"_s,
         u"< +CMGF: 0"_s, ok});
    row("edits wait for an answer with that line",
        {u"! edit 1 +CMGL drop 2"_s, u"! edit 1 +CMGL insert -1 RING"_s, u"> AT+CMGL=4"_s, ok,
         u"! deliver "_s + hi, u"> AT+CMGL=4"_s, u"< RING|+CMGL: 1,0,,22"_s, ok, u"! edit 1 +CMGR garble 1"_s,
         u"! edit 1 +CMGR shorten 2"_s, u"> AT+CMGR=1"_s, u"< +CMGR:~1,,22|"_s + hiPdu.chopped(2), ok});
    row("OK first, none, late", {u"! edit 1 +CMGF? ok-first"_s, u"> AT+CMGF?"_s, ok, u"< +CMGF: 0"_s,
                                 u"! edit 1 +CMGF? no-final"_s, u"> AT+CMGF?"_s, u"< +CMGF: 0"_s,
                                 u"! edit 1 > late 50"_s, sendCommand, u"<>"_s, pduBody, accepted, ok});
    row("a restart instead of a result",
        {u"! at-start 0 ^BOOT"_s, u"> AT+CNMI=2,1"_s, ok, u"! edit 1 > restart"_s, sendCommand, u"<>"_s,
         pduBody, u"< ^BOOT"_s, u"> AT+CNMI?"_s, u"< +CNMI: 0,0,0,0,0"_s, ok});
    row("an outage", {u"! outage 100000"_s, u"> AT+CREG?"_s, u"< +CREG: 0,2"_s, ok, sendCommand, u"<>"_s,
                      pduBody, u"< +CMS ERROR: 500"_s});
    row("MT is SM and ME",
        {u"! memories 3 only mt"_s, u"! storage-size 1"_s, u"> AT+CPMS=\"MT\""_s, u"< +CMS ERROR: 302"_s,
         u"> AT+CPMS=\"MT\",\"MT\",\"MT\";+CNMI=2,1"_s, u"< +CPMS: 0,2,0,2,0,2"_s, ok, u"! deliver "_s + hi,
         u"< +CMTI: \"MT\",1"_s, u"! deliver "_s + hi, u"< +CMTI: \"MT\",2"_s, u"> AT+CMGD=1"_s, ok,
         u"> AT+CMGR=2"_s, u"< +CMGR: 0,,22|"_s + hiPdu, ok});
    row("a store that keeps what it is told to remove",
        {u"! deletes off"_s, u"! first-index 123456789"_s, u"! deliver "_s + hi, u"> AT+CMGD=123456789"_s, ok,
         u"> AT+CMGR=123456789"_s, u"< +CMGR: 0,,22|"_s + hiPdu, ok});
    row("a direct message with a copy",
        {u"! direct-copy on"_s, u"> AT+CNMI=2,2"_s, ok, u"! deliver "_s + hi, u"< +CMT: ,22|"_s + hiPdu,
         u"> AT+CMGL=4"_s, u"< +CMGL: 1,0,,22|"_s + hiPdu, ok});
    row("stored and sent", {u"> AT+CMGW=17"_s, u"<>"_s, pduBody, u"< +CMGW: 1"_s, ok, u"> AT+CMSS=1"_s,
                            u"< +CMSS: 1"_s, ok, u"> AT+CMGL=3"_s, u"< +CMGL: 1,3,,17|"_s + samplePdu, ok});
    row("at a line's speed nothing changes",
        {u"! baud 9600"_s, u"> AT+CNMI=2,1"_s, ok, u"! deliver "_s + hi, u"< +CMTI: \"SM\",1"_s,
         u"> AT+CMGL=4"_s, u"< +CMGL: 1,0,,22|"_s + hiPdu, ok});
    row("a slow command",
        {u"! command-latency 50 +CMGF"_s, u"> AT+CMGF?;+CMGF?"_s, u"< +CMGF: 0"_s, u"< +CMGF: 0"_s, ok});
}

QTEST_GUILESS_MAIN(SimulatorDialogueTest)
#include "SimulatorDialogueTest.moc"
