#include "simulator/GsmAlphabet.h"
#include "simulator/TpduDecoder.h"
#include "simulator/TpduEncoder.h"

#include <QTest>
#include <QTimeZone>

using namespace Qt::StringLiterals;
using namespace simulator;

namespace
{
// The two samples are the field's usual ones: "hellohello" from and to a number.
const QByteArray deliverSample = "07917283010010F5040BC87238880900F10000993092516195800AE8329BFD4697D9EC37";
const QByteArray submitSample = "07917283010010F511000B916407281553F80000AA0AE8329BFD4697D9EC37";
// Part 2 of 2, reference 0x1234, UCS-2, no validity period.
const QByteArray concatenatedSample = "0041000B813118008083F800080B06080412340202"
                                      "4F60"
                                      "597D";

QByteArray raw(const QByteArray &hex)
{
    return QByteArray::fromHex(hex);
}

/// What a decoder said, in one line.
QString summary(const std::variant<Tpdu, TpduError> &decoded)
{
    if (const auto *error = std::get_if<TpduError>(&decoded))
        return u"refused: "_s + error->reason;
    const auto &tpdu = std::get<Tpdu>(decoded);
    const auto part = tpdu.concatenation;
    return u"%1 [%2] %3%4"_s.arg(
        tpdu.number, alphabetName(tpdu.alphabet),
        part ? u"%1:%2/%3 "_s.arg(part->reference).arg(part->sequence).arg(part->total) : QString(),
        tpdu.text);
}

QString decoded(const QByteArray &hex, Direction direction = Direction::FromModem)
{
    return summary(decodeTpdu(raw(hex), direction));
}

Delivery delivery(const QString &text)
{
    return {.number = u"+8613800138000"_s,
            .text = text,
            .scts = QDateTime(QDate(2024, 5, 31), QTime(23, 59, 58), QTimeZone(8 * 3600)),
            .smsc = u"+8613800100500"_s,
            .alphabet = {},
            .messageClass = {},
            .wideReference = false,
            .reference = 7};
}

/// The parts of a text as they come out of the decoder again, and the text they make together.
QString roundTrip(const Delivery &sent, QString *whole = nullptr)
{
    QStringList sizes;
    QString text;
    const QList<QByteArray> parts = encodeDeliver(sent);
    for (const QByteArray &part : parts) {
        const auto read = decodeTpdu(part, Direction::ToModem);
        if (const auto *error = std::get_if<TpduError>(&read))
            return u"refused: "_s + error->reason;
        const auto &tpdu = std::get<Tpdu>(read);
        if (tpdu.number != sent.number || tpdu.scts != sent.scts || tpdu.smsc != sent.smsc)
            return u"header differs: %1 %2 %3"_s.arg(tpdu.number, tpdu.scts.toString(Qt::ISODate), tpdu.smsc);
        sizes += QString::number(tpdu.text.size());
        text += tpdu.text;
    }
    if (whole)
        *whole = text;
    return sizes.join(u'+');
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
        row("relative validity, 7-bit", submitSample, u"+46708251358 [gsm7] hellohello"_s);
        row("no validity, 16-bit reference", concatenatedSample, u"13810008388 [ucs2] 4660:2/2 你好"_s);
        row("enhanced validity", "0009000491214300000102030405060702C834", u"+1234 [gsm7] Hi"_s);
        row("absolute validity", "0019000491214300004250132395852302C834", u"+1234 [gsm7] Hi"_s);
        row("national, odd digits, star", "000100038101FA000002C834", u"10* [gsm7] Hi"_s);
        row("8-bit", "0001000491214300040248E9", u"+1234 [8bit] Hé"_s);
        row("surrogates", "00010004912143000804D83DDE00", u"+1234 [ucs2] 😀"_s);
        row("deliver from the modem", deliverSample, u"refused: message type 0"_s);
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
        QTEST(decoded(hex), "meaning");
    }

    void deliveredSample()
    {
        const auto read = decodeTpdu(raw(deliverSample), Direction::ToModem);
        QCOMPARE(summary(read), u"27838890001 [gsm7] hellohello"_s);
        QCOMPARE(std::get<Tpdu>(read).smsc, u"+27381000015"_s);
        QCOMPARE(std::get<Tpdu>(read).scts,
                 QDateTime(QDate(1999, 3, 29), QTime(15, 16, 59), QTimeZone(2 * 3600)));
        QCOMPARE(tpduLength(raw(deliverSample)), 28);
    }

    void everyPrefixIsRefused()
    {
        const QList<std::pair<QByteArray, Direction>> samples{{submitSample, Direction::FromModem},
                                                              {concatenatedSample, Direction::FromModem},
                                                              {deliverSample, Direction::ToModem}};
        for (const auto &[hex, direction] : samples) {
            QVERIFY(std::holds_alternative<Tpdu>(decodeTpdu(raw(hex), direction)));
            for (qsizetype octets = 0; octets < hex.size() / 2; ++octets) {
                const QString said = decoded(hex.first(octets * 2), direction);
                QVERIFY2(said.startsWith(u"refused: "), qPrintable(u"%1 octets: %2"_s.arg(octets).arg(said)));
            }
        }
    }

    void parts_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("wide");
        QTest::addColumn<QString>("sizes");
        const QString a160(160, u'a');
        QTest::newRow("160 septets") << a160 << false << u"160"_s;
        QTest::newRow("161 septets, 16-bit") << a160 + u'a' << true << u"152+9"_s;
        QTest::newRow("extended at the cut")
            << QString(152, u'a') + u"€"_s + QString(10, u'b') << false << u"152+11"_s;
        QTest::newRow("surrogates at the cut")
            << QString(66, u'你') + u"😀"_s + QString(10, u'好') << false << u"66+12"_s;
        QTest::newRow("empty") << QString() << false << u"0"_s;
    }
    void parts()
    {
        QFETCH(QString, text);
        QFETCH(bool, wide);
        Delivery sent = delivery(text);
        sent.wideReference = wide;
        sent.reference = wide ? 0xabcd : 0xcd;
        QString whole;
        QTEST(roundTrip(sent, &whole), "sizes");
        QCOMPARE(whole, text);
    }

    void limits()
    {
        QCOMPARE(encodeDeliver(delivery(QString(qsizetype{153} * 255, u'a'))).size(), 255);
        QCOMPARE(encodeDeliver(delivery(QString(qsizetype{153} * 255 + 1, u'a'))).size(), 0);
        Delivery west = delivery(u"a"_s);
        west.scts = QDateTime(QDate(2024, 5, 31), QTime(1, 2, 3), QTimeZone(-(3 * 3600 + 1800)));
        QCOMPARE(roundTrip(west), u"1"_s);
        for (const QString &sender : {u"10086"_s, u"+12345678901234567890"_s, u"Info-Dienst"_s}) {
            Delivery sent = delivery(u"a"_s);
            sent.number = sender;
            QVERIFY(isEncodableNumber(sender));
            QCOMPARE(roundTrip(sent), u"1"_s);
        }
        for (const QString &sender : {QString(), u"+123456789012345678901"_s, u"Info-Dienste"_s, u"银行"_s})
            QVERIFY(!isEncodableNumber(sender));
    }
};

QTEST_GUILESS_MAIN(SimulatorCodecTest)
#include "SimulatorCodecTest.moc"
