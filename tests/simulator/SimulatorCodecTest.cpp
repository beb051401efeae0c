#include "simulator/GsmAlphabet.h"
#include "simulator/TpduDecoder.h"
#include "tests/modem/Transcript.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace simulator;

namespace
{
// "hellohello", the field's usual sample.
const QByteArray submitSample = "07917283010010F511000B916407281553F80000AA0AE8329BFD4697D9EC37";

QByteArray raw(const QByteArray &hex)
{
    return QByteArray::fromHex(hex);
}

/// What the decoder said, in one line.
QString decoded(const QByteArray &octets, Direction direction)
{
    const auto read = decodeTpdu(octets, direction);
    if (const auto *error = std::get_if<TpduError>(&read))
        return u"refused: "_s + error->reason;
    const auto &tpdu = std::get<Tpdu>(read);
    const auto part = tpdu.concatenation;
    const QString place = !part ? u"-"_s
                                : u"%1/%2/%3/%4"_s.arg(part->reference)
                                      .arg(part->wide ? 16 : 8)
                                      .arg(part->total)
                                      .arg(part->sequence);
    return QStringList{tpdu.number, place, tpdu.text}.join(u" / "_s);
}

/// Only the whole of it is a TPDU.
bool isEveryPrefixRefused(const QByteArray &octets, Direction direction)
{
    for (qsizetype length = 0; length < octets.size(); ++length) {
        if (!decoded(octets.first(length), direction).startsWith(u"refused: "))
            return false;
    }
    return true;
}
} // namespace

class SimulatorCodecTest : public QObject
{
    Q_OBJECT

private slots:
    void defaultAlphabet()
    {
        // Every character of the two tables goes out and comes back; the packed form is the published one.
        const QString all =
            u"@£$¥èéùìòÇ\nØø\rÅåΔ_ΦΓΛΩΠΨΣΘΞÆæßÉ !\"#¤%&'()*+,-./0123456789:;<=>?¡ABCDEFGHIJKLMNOPQRSTUVWXYZ"
            "ÄÖÑÜ§¿abcdefghijklmnopqrstuvwxyzäöñüà\f^{}\\[~]|€"_s;
        const auto septets = septetsFromText(all);
        QVERIFY(septets);
        QCOMPARE(septets->size(), 127 + 2 * 10);
        QCOMPARE(textFromSeptets(*septets), all);
        QCOMPARE(packSeptets("hellohello", 0).toHex(), "e8329bfd4697d9ec37");
        QVERIFY(!septetsFromText(u"你"_s) && !septetsFromText(u"\u00a0"_s) && !septetsFromText(u"ç"_s));
        QCOMPARE(textFromSeptets("\x1b"
                                 "A"),
                 u"A"_s);
        QCOMPARE(textFromSeptets("a\x1b"), u"a "_s);
        for (int fillBits = 0; fillBits < 7; ++fillBits) {
            const QByteArray octets = packSeptets(*septets, fillBits);
            QCOMPARE(unpackSeptets(octets, static_cast<int>(septets->size()), fillBits), septets);
            QVERIFY(!unpackSeptets(octets.chopped(1), static_cast<int>(septets->size()), fillBits));
        }
    }

    void submits_data()
    {
        QTest::addColumn<QByteArray>("hex");
        QTest::addColumn<QString>("meaning");
        const auto row = [](const char *name, const QByteArray &hex, const QString &meaning) {
            QTest::newRow(name) << hex << meaning;
        };
        row("relative validity, 7-bit", submitSample, u"+46708251358 / - / hellohello"_s);
        row("no validity, 16-bit reference", "0041000B813118008083F800080B060804123402024F60597D",
            u"13810008388 / 4660/16/2/2 / 你好"_s);
        row("enhanced validity", "0009000491214300000102030405060702C834", u"+1234 / - / Hi"_s);
        row("absolute validity", "0019000491214300004250132395852302C834", u"+1234 / - / Hi"_s);
        row("national, odd digits, star", "000100038101FA000002C834", u"10* / - / Hi"_s);
        row("8-bit", "0001000491214300040248E9", u"+1234 / - / Hé"_s);
        row("surrogates", "00010004912143000804D83DDE00", u"+1234 / - / 😀"_s);
        row("deliver from the modem", "0004048121430000621102910300230141", u"refused: message type 0"_s);
        row("trailing octet", submitSample + "00", u"refused: 1 octets behind the user data"_s);
        row("no number", "0001000081000002C834", u"refused: address of 0 semi-octets"_s);
        row("21 digits", "0001001581" + QByteArray("11").repeated(10) + "F1000002C834",
            u"refused: number of 21 digits"_s);
        row("161 septets", "000100049121430000A1" + QByteArray(282, '0'), u"refused: user data length 161"_s);
        row("half a unit", "00010004912143000803004100", u"refused: UCS-2 text of 3 octets"_s);
        row("header longer than data", "00410004912143000803060000",
            u"refused: user data header longer than the user data"_s);
        row("part 3 of 2", "004100049121430008080500030102030041", u"refused: part 3 of 2"_s);
        row("compressed", "000100049121430020024869", u"refused: compressed text"_s);
    }
    void submits()
    {
        QFETCH(QByteArray, hex);
        QTEST(decoded(raw(hex), Direction::FromModem), "meaning");
        if (!decoded(raw(hex), Direction::FromModem).startsWith(u"refused: "))
            QVERIFY(isEveryPrefixRefused(raw(hex), Direction::FromModem));
    }

    void delivers_data()
    {
        QTest::addColumn<QStringList>("fields");
        for (const Transcript &vector : readTranscripts(QStringLiteral(DELIVER_VECTORS))) {
            if (!vector.name.contains(u'~'))
                QTest::newRow(qPrintable(vector.name)) << vector.steps;
        }
    }
    void delivers()
    {
        QFETCH(QStringList, fields);
        const QByteArray octets = raw(fields[0].toLatin1());
        QCOMPARE(decoded(octets, Direction::ToModem), fields.mid(1, 3).join(u" / "_s));
        QVERIFY(isEveryPrefixRefused(octets, Direction::ToModem));
        if (fields.size() > 4)
            QCOMPARE(std::get<Tpdu>(decodeTpdu(octets, Direction::ToModem))
                         .scts.toUTC()
                         .toString(u"yyyy-MM-ddTHH:mm:ss"),
                     fields[4]);
    }
};

QTEST_GUILESS_MAIN(SimulatorCodecTest)
#include "SimulatorCodecTest.moc"
