#include "simulator/AtCommandLine.h"
#include "simulator/ControlWords.h"
#include "simulator/GsmAlphabet.h"
#include "simulator/MessageStore.h"
#include "simulator/NotificationRanges.h"
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
        QTest::newRow("relative validity, 7-bit") << submitSample << u"+46708251358 [gsm7] hellohello"_s;
        QTest::newRow("no validity, 16-bit reference")
            << concatenatedSample << u"13810008388 [ucs2] 4660:2/2 你好"_s;
        QTest::newRow("enhanced validity")
            << QByteArray("0009000491214300000102030405060702C834") << u"+1234 [gsm7] Hi"_s;
        QTest::newRow("absolute validity")
            << QByteArray("0019000491214300004250132395852302C834") << u"+1234 [gsm7] Hi"_s;
        QTest::newRow("national, odd digits, star")
            << QByteArray("000100038101FA000002C834") << u"10* [gsm7] Hi"_s;
        QTest::newRow("8-bit") << QByteArray("0001000491214300040248E9") << u"+1234 [8bit] Hé"_s;
        QTest::newRow("surrogates") << QByteArray("00010004912143000804D83DDE00") << u"+1234 [ucs2] 😀"_s;
        QTest::newRow("class 1 group") << QByteArray("00010004912143 00F102C834") << u"+1234 [gsm7] Hi"_s;
        QTest::newRow("reserved coding is 7-bit")
            << QByteArray("000100049121430 08002C834") << u"+1234 [gsm7] Hi"_s;
        QTest::newRow("port header is no concatenation") << QByteArray("004100049121430008"
                                                                       "09"
                                                                       "06"
                                                                       "0504"
                                                                       "0B84"
                                                                       "23F0"
                                                                       "0041")
                                                         << u"+1234 [ucs2] A"_s;
        QTest::newRow("empty text") << QByteArray("00010004912143000000") << u"+1234 [gsm7] "_s;

        QTest::newRow("deliver from the modem") << deliverSample << u"refused: message type 0"_s;
        QTest::newRow("trailing octet") << submitSample + "00" << u"refused: 1 octets behind the user data"_s;
        QTest::newRow("no number") << QByteArray("0001000081000002C834")
                                   << u"refused: address of 0 semi-octets"_s;
        QTest::newRow("21 digits") << "0001001581" + QByteArray("11").repeated(10) + "F1000002C834"
                                   << u"refused: number of 21 digits"_s;
        QTest::newRow("161 septets") << "0001000491214300" + QByteArray("00A1") + QByteArray(282, '0')
                                     << u"refused: user data length 161"_s;
        QTest::newRow("half a unit") << QByteArray("00010004912143000803004100")
                                     << u"refused: UCS-2 text of 3 octets"_s;
        QTest::newRow("header longer than data") << QByteArray("00410004912143000803060000")
                                                 << u"refused: user data header longer than the user data"_s;
        QTest::newRow("element longer than header")
            << QByteArray("004100049121430008050400090102") << u"refused: damaged user data header"_s;
        QTest::newRow("part 3 of 2") << QByteArray("00410004912143000808050003010203"
                                                   "0041")
                                     << u"refused: part 3 of 2"_s;
        QTest::newRow("part 0") << QByteArray("00410004912143000808050003010200"
                                              "0041")
                                << u"refused: part 0 of 2"_s;
        QTest::newRow("compressed") << QByteArray("000100049121430020024869")
                                    << u"refused: compressed text"_s;
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

    void encodedOctets()
    {
        QCOMPARE(encodeDeliver(delivery(u"你好"_s)).value(0).toHex().toUpper(), "0891683108100005F0"
                                                                                "04"
                                                                                "0D91683108108300F0"
                                                                                "00"
                                                                                "08"
                                                                                "42501332958523"
                                                                                "04"
                                                                                "4F60597D");
        // One fill bit between the six header octets and the septets.
        const QByteArray first = encodeDeliver(delivery(QString(161, u'a'))).value(0).toHex().toUpper();
        QVERIFY(first.contains("A0"
                               "050003070201"
                               "C2E1"));
        Delivery west = delivery(u"a"_s);
        west.scts = QDateTime(QDate(2024, 5, 31), QTime(1, 2, 3), QTimeZone(-(3 * 3600 + 1800)));
        QVERIFY(encodeDeliver(west).value(0).toHex().contains("42501310203049"));
        QCOMPARE(roundTrip(west), u"1"_s);
    }

    void parts_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("wide");
        QTest::addColumn<QString>("sizes");
        const QString a160(160, u'a');
        const QString u70(70, u'你');
        QTest::newRow("160 septets") << a160 << false << u"160"_s;
        QTest::newRow("161 septets") << a160 + u'a' << false << u"153+8"_s;
        QTest::newRow("161 septets, 16-bit") << a160 + u'a' << true << u"152+9"_s;
        QTest::newRow("159 and an extended one") << QString(159, u'a') + u'€' << false << u"153+7"_s;
        QTest::newRow("extended at the cut")
            << QString(152, u'a') + u"€"_s + QString(10, u'b') << false << u"152+11"_s;
        QTest::newRow("70 units") << u70 << false << u"70"_s;
        QTest::newRow("71 units") << u70 + u'好' << false << u"67+4"_s;
        QTest::newRow("71 units, 16-bit") << u70 + u'好' << true << u"66+5"_s;
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
        QVERIFY(isEncodableNumber(u"+12345678901234567890"_s) &&
                !isEncodableNumber(u"+123456789012345678901"_s));
        QVERIFY(isEncodableNumber(u"Info-Dienst"_s) && !isEncodableNumber(u"Info-Dienste"_s));
        QVERIFY(!isEncodableNumber(QString()) && !isEncodableNumber(u"+"_s.repeated(12)) &&
                !isEncodableNumber(u"银行"_s));
        for (const QString &sender : {u"Info"_s, u"10086"_s, u"Info-Dienst"_s, u"My Bank"_s}) {
            Delivery sent = delivery(u"a"_s);
            sent.number = sender;
            QCOMPARE(roundTrip(sent), u"1"_s);
        }
        Delivery impossible = delivery(u"你"_s);
        impossible.alphabet = Alphabet::Gsm7;
        QVERIFY(encodeDeliver(impossible).isEmpty());
        QVERIFY(encodeSubmit(u"10086"_s, QString(160, u'a'), 0, 0) &&
                !encodeSubmit(u"10086"_s, QString(161, u'a'), 0, 0));
    }

    void commandLines_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<QByteArrayList>("commands");
        using List = QByteArrayList;
        QTest::newRow("bare") << QByteArray("AT") << List{"/0/"};
        QTest::newRow("none") << QByteArray("hello") << List{};
        QTest::newRow("junk before") << QByteArray("\x1b\xff"
                                                   "at")
                                     << List{"/0/"};
        QTest::newRow("basic after basic") << QByteArray("ATE0V1&F") << List{"E/0/0", "V/0/1", "&F/0/"};
        QTest::newRow("extended after basic")
            << QByteArray("ATE0+CMEE=1;+CMGF=0") << List{"E/0/0", "+CMEE/1/1", "+CMGF/1/0"};
        QTest::newRow("lower case") << QByteArray("at+cmgf?;+cmgf=?") << List{"+CMGF/2/", "+CMGF/3/"};
        QTest::newRow("semicolon in quotes")
            << QByteArray("AT+X=\"a;b\";+Y") << List{"+X/1/\"a;b\"", "+Y/0/"};
        QTest::newRow("register") << QByteArray("ATS3=13S4?") << List{"S/1/3", "S/2/4"};
        QTest::newRow("nonsense form") << QByteArray("AT+CMGF?x") << List{"?/0/"};
    }
    void commandLines();

    void parametersAndWords()
    {
        const QList<AtParameter> parameters =
            AtCommand{"+X", AtCommand::Form::Set, R"(1,,"a,b",x 2,"7")"}.parameters();
        QCOMPARE(parameters.size(), 5);
        QCOMPARE(parameters[0].number(), 1);
        QVERIFY(parameters[1].isEmpty() && !parameters[1].number());
        QCOMPARE(parameters[2].text, "a,b");
        QCOMPARE(parameters[3].text, "x2");
        QVERIFY(!parameters[4].number());

        ControlWords words(u"\"My Bank\"  two 'it''s'"_s);
        QCOMPARE(words.word(u"number"_s), u"My Bank"_s);
        QCOMPARE(words.rest(), u" two 'it''s'"_s);
        QVERIFY_EXCEPTION_THROWN(words.word(u"text"_s), ControlError);
        QVERIFY_EXCEPTION_THROWN(ControlWords(u"5x"_s).number(u"n"_s, 0, 9), ControlError);
        QVERIFY_EXCEPTION_THROWN(ControlWords(u"ABC"_s).octets(u"n"_s), ControlError);
    }

    void storePlaces()
    {
        MessageStore store(2, 0);
        QCOMPARE(store.add(MessageStatus::ReceivedUnread, "a"), 0);
        QCOMPARE(store.add(MessageStatus::ReceivedUnread, "b"), 1);
        QVERIFY(!store.add(MessageStatus::ReceivedUnread, "c"));
        store.remove(0);
        QCOMPARE(store.add(MessageStatus::ReceivedUnread, "c"), 0);
        QVERIFY(store.isValidIndex(1) && !store.isValidIndex(2) && !store.isValidIndex(-1));
    }

    void notificationRanges()
    {
        const auto ranges = NotificationRanges::fromText("(0-2),(1),(0,2),(0),(0,1)");
        QVERIFY(ranges && ranges->allows({2, 1, 2, 0, 1}) && !ranges->allows({3, 1, 2, 0, 1}));
        QVERIFY(!ranges->allows({2, 0, 2, 0, 1}) && !ranges->allows({2, 1, 1, 0, 1}));
        QVERIFY(!NotificationRanges::fromText("(0-2),(1)") && !NotificationRanges::fromText("2,1,0,0,0"));
    }
};

void SimulatorCodecTest::commandLines()
{
    QFETCH(QByteArray, line);
    QByteArrayList commands;
    for (const AtCommand &command : parseAtCommandLine(line))
        commands +=
            command.name + '/' + QByteArray::number(static_cast<int>(command.form)) + '/' + command.argument;
    QTEST(commands, "commands");
}

QTEST_GUILESS_MAIN(SimulatorCodecTest)
#include "SimulatorCodecTest.moc"
