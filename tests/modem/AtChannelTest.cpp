#include "modem/line/AtChannel.h"

#include "modem/line/SerialLine.h"
#include "tests/support/SimulatorProcess.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace
{

QByteArrayList textsOf(const QList<AtLine> &lines)
{
    QByteArrayList texts;
    for (const AtLine &line : lines)
        texts.append(line.payload.isEmpty() ? line.text : line.text + "/" + line.payload);
    return texts;
}

/// As the simulator's controls take them.
QString escaped(const QByteArray &octets)
{
    return u"\\x"_s + QString::fromLatin1(octets.toHex(' ')).replace(u' ', u"\\x"_s);
}

} // namespace

/// Octets come in any pieces.
class AtChannelTest : public QObject
{
    Q_OBJECT

private slots:
    void answersInAnyPieces()
    {
        // A listing with unsolicited lines, one between a header and its TPDU, an empty place, blank lines.
        const QByteArray said =
            "AT+CMGL=4\r\r\n+CMGL: 1,0,,2\r\n\r\n+CMTI: \"SM\",3\r\n0102\r\n+CMGL: 2,1,,0\r\n\r\n"
            "+CMT: ,1\r\nAA\r\n+CMGL: 3,1,,2\r\n0304\r\n\r\nOK\r\n";
        SimulatorProcess simulator({u"--echo"_s, u"off"_s});
        const std::unique_ptr<SerialLine> line = makeSerialLine();
        AtChannel channel(*line, {});
        QCOMPARE(line->open(simulator.devicePath(), 115200), SerialLine::OpenResult::Opened);
        QByteArray rest;
        connect(line.get(), &SerialLine::octetsArrived, [&] {
            if (!rest.isEmpty())
                simulator.command(u"octets "_s + escaped(std::exchange(rest, {})));
        });
        QVERIFY(channel.resynchronise(5s));
        for (qsizetype cut = 1; cut < said.size(); ++cut) {
            rest = said.sliced(cut);
            simulator.command(u"answer --raw 1 +CMGL "_s + escaped(said.first(cut)));
            const AtAnswer answer = channel.exchangeWithPayload("AT+CMGL=4", "+CMGL:", 5s);
            QCOMPARE(answer.end, AtAnswer::End::Final);
            QCOMPARE(textsOf(answer.lines),
                     (QByteArrayList{"+CMGL: 1,0,,2/0102", "+CMGL: 2,1,,0", "+CMGL: 3,1,,2/0304"}));
            QCOMPARE(textsOf(channel.takeUnsolicited()), (QByteArrayList{"+CMTI: \"SM\",3", "+CMT: ,1/AA"}));
        }
    }

    void splitsAnywhere()
    {
        // Line ends of all kinds, the noise of a waking modem, prompts that nobody waited for, an unfinished line.
        const QByteArray octets =
            QByteArray("\r\nOK\r\na\nb\rc\r\n\0\0\x1b", 16) + "AT\r\r\n> > \r\n> OK\r\n\r\n+CMGS: 1";
        for (qsizetype cut = 0; cut <= octets.size(); ++cut) {
            LineSplitter splitter;
            QByteArrayList lines;
            for (const QByteArray &chunk : {octets.first(cut), octets.sliced(cut)}) {
                splitter.feed(chunk);
                while (const auto line = splitter.takeLine())
                    lines.append(*line);
            }
            QCOMPARE(lines, (QByteArrayList{"OK", "a", "b", "c", "AT", "OK"}));
        }
    }

    void tooLongLineIsDropped()
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
};

QTEST_GUILESS_MAIN(AtChannelTest)
#include "AtChannelTest.moc"
