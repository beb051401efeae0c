#include "modem/ReceivedTpdu.h"

#include "modem/ModemLimits.h"
#include "modem/Scts.h"
#include "modem/SmsSubmit.h"
#include "tests/modem/TpduSamples.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

QByteArray raw(const QByteArray &hex)
{
    return QByteArray::fromHex(hex);
}

/// The text of a submit's user data, read by the decoder of delivers: both carry the same TP-UD.
SmsDeliver asDeliver(const SmsSubmit &submit)
{
    QByteArray octets = submit.octets;
    const auto addressOctets = 2 + (static_cast<quint8>(octets[3]) + 1) / 2;
    octets[1] = static_cast<char>((octets[1] & 0x40) | 0x04);
    octets.remove(2, 1);                                                         // TP-MR
    octets.insert(2 + addressOctets + 2, QByteArray::fromHex("62110291030023")); // TP-SCTS behind PID and DCS
    return std::get<SmsDeliver>(decodeReceived(octets));
}

} // namespace

class TpduTest : public QObject
{
    Q_OBJECT

private slots:
    void decodesRecording();
    void addresses_data();
    void addresses();
    void texts_data();
    void texts();
    void headers_data();
    void headers();
    void stamps_data();
    void stamps();
    void notDelivers();
    void missingServiceCentre();
    void everyPrefixIsRefusedByItsField();
    void submits_data();
    void submits();
    void partsJoinToTheText_data();
    void partsJoinToTheText();
};

void TpduTest::decodesRecording()
{
    const auto deliver = std::get<SmsDeliver>(decodeReceived(raw(tpduSamples().first())));
    QCOMPARE(deliver.oa.value, u"27838890001"_s);
    QCOMPARE(deliver.ud, u"hellohello"_s);
    QCOMPARE(deliver.scts.toUTC(), QDateTime(QDate(2099, 3, 29), QTime(13, 16, 59), Qt::UTC));
}

void TpduTest::addresses_data()
{
    QTest::addColumn<QByteArray>("address");
    QTest::addColumn<QString>("shown"); // null = unreadable
    QTest::newRow("international") << QByteArray("0D91683108108300F0") << u"+8613800138000"_s;
    QTest::newRow("national") << QByteArray("0BA13108108300F0") << u"13800138000"_s;
    QTest::newRow("short-code") << QByteArray("05810180F6") << u"10086"_s;
    QTest::newRow("star-and-hash") << QByteArray("04812AB1") << u"*21#"_s;
    QTest::newRow("alphanumeric") << QByteArray("0ED0E8329BFD4697D9") << u"hellohel"_s;
    QTest::newRow("alphanumeric-11") << QByteArray("14D0E8329BFD4697D9EC7708") << u"hellohello!"_s;
    QTest::newRow("empty") << QByteArray("0091") << u""_s;
    QTest::newRow("20-semi-octets") << QByteArray("149121436587092143658709") << u"+12345678901234567890"_s;
    QTest::newRow("21-semi-octets") << QByteArray("159121436587092143658709F1")
                                    << u"+123456789012345678901"_s;
    QTest::newRow("name-that-spells-a-number") << QByteArray("0ED0B1190E969BC966") << u"\"13809323\""_s;
    QTest::newRow("255-semi-octets") << QByteArray("FF9121436587") << QString();
}

void TpduTest::addresses()
{
    QFETCH(const QByteArray, address);
    QFETCH(const QString, shown);
    const ReceivedTpdu tpdu = decodeReceived(raw("0004" + address + "0000621102910300230141"));
    const auto *deliver = std::get_if<SmsDeliver>(&tpdu);
    QCOMPARE(deliver != nullptr, !shown.isNull());
    if (deliver != nullptr) {
        QCOMPARE(deliver->oa.display(), shown);
        QCOMPARE(deliver->ud, u"A"_s);
    } else {
        QVERIFY(std::get<UnreadableTpdu>(tpdu).problem.contains(u"TP-OA"_s));
    }
}

void TpduTest::texts_data()
{
    QTest::addColumn<QByteArray>("dcsToEnd"); // DCS, then UDL and UD
    QTest::addColumn<QString>("text");
    const auto row = [](const char *name, const char *dcsToEnd, const QString &text) {
        QTest::newRow(name) << QByteArray(dcsToEnd) << text;
    };
    row("7-bit-extension", "00029B32", u"€"_s);
    row("7-bit-ends-in-escape", "0002C10D", u"A"_s);
    row("7-bit-unknown-escape", "00029B20", u"A"_s);
    row("ucs2-flash", "18024E2D", u"中"_s);
    row("ucs2-odd-octet", "08034E2D65", u"中"_s);
    row("ucs2-surrogates", "0804D83DDE00", u"😀"_s);
    row("ucs2-nul", "080400410000", u"A"_s + QChar(0));
    row("8-bit-as-hex", "040300FF1B", u"00FF1B"_s);
    row("class-8-bit", "F40141", u"41"_s);
    row("compressed-as-hex", "20024142", u"4142"_s);
    row("reserved-is-7-bit", "8C0141", u"A"_s);
    row("waiting-indication-ucs2", "E0024E2D", u"中"_s);
    row("empty", "0000", u""_s);
    row("octets-behind", "000141FFFF", u"A"_s);
}

void TpduTest::texts()
{
    QFETCH(const QByteArray, dcsToEnd);
    const auto tpdu =
        decodeReceived(raw("0004009100" + dcsToEnd.first(2) + "62110291030023" + dcsToEnd.sliced(2)));
    QTEST(std::get<SmsDeliver>(tpdu).ud, "text");
}

void TpduTest::headers_data()
{
    QTest::addColumn<QByteArray>("userData"); // UCS-2 text "A" behind the header
    QTest::addColumn<QString>("place");       // reference/bits/total/sequence, "" = none
    QTest::addColumn<QString>("text");
    const auto row = [](const char *name, const char *header, const QString &place,
                        const QString &text = u"A"_s) {
        QTest::newRow(name) << QByteArray(header) + "0041" << place << text;
    };
    row("8-bit", "050003FF0201", u"255/8/2/1"_s);
    row("16-bit", "060804ABCD0303", u"43981/16/3/3"_s);
    row("behind-another-element", "09010200000003010202", u"1/8/2/2"_s);
    row("unknown-element", "0370010A", {});
    row("sequence-0", "050003010200", {});
    row("sequence-beyond-total", "050003010203", {});
    row("total-0", "050003010000", {});
    row("one-of-one", "050003010101", {});
    row("wrong-element-length", "0400020102", {});
    row("element-longer-than-header", "050009010201", {});
    row("identifier-without-length", "0100", {});
    row("no-elements", "00", {});
    row("longer-than-user-data", "7F41", {}, QString(QChar(0x7f41)) + u'A');
}

void TpduTest::headers()
{
    QFETCH(const QByteArray, userData);
    QFETCH(const QString, place);
    const auto tpdu = decodeReceived(raw("004400910008"
                                         "62110291030023" +
                                         Deliver::octet(userData.size() / 2) + userData));
    const auto &deliver = std::get<SmsDeliver>(tpdu);
    QString found;
    if (const auto &c = deliver.udh.concatenation)
        found = u"%1/%2/%3/%4"_s.arg(c->reference).arg(c->referenceBits).arg(c->total).arg(c->sequence);
    QCOMPARE(found, place);
    QTEST(deliver.ud, "text");
}

void TpduTest::stamps_data()
{
    QTest::addColumn<QByteArray>("octets");
    QTest::addColumn<QDateTime>("instant"); // invalid = no date-time
    const auto utc = [](int y, int m, int d, int h, int min) {
        return QDateTime(QDate(y, m, d), QTime(h, min), Qt::UTC);
    };
    QTest::newRow("beijing") << QByteArray("62110291030023") << utc(2026, 11, 20, 11, 30);
    QTest::newRow("west") << QByteArray("6211029103002B") << utc(2026, 11, 21, 3, 30);
    QTest::newRow("quarter-hours") << QByteArray("62110291030032") << utc(2026, 11, 20, 13, 45);
    QTest::newRow("impossible-zone") << QByteArray("621102910300F7") << utc(2026, 11, 20, 19, 30);
    QTest::newRow("month-13") << QByteArray("62310291030023") << QDateTime();
    QTest::newRow("hexadecimal-hour") << QByteArray("621102A1030023") << QDateTime();
    QTest::newRow("29-february") << QByteArray("62209291030023") << QDateTime();
    QTest::newRow("all-ones") << QByteArray("FFFFFFFFFFFFFF") << QDateTime();
}

void TpduTest::stamps()
{
    QFETCH(const QByteArray, octets);
    QFETCH(const QDateTime, instant);
    const QDateTime found = decodeScts(raw(octets));
    QCOMPARE(found.isValid(), instant.isValid());
    if (instant.isValid()) {
        QCOMPARE(found.toUTC(), instant);
        QCOMPARE(found.timeSpec(), Qt::LocalTime);
    }
}

void TpduTest::notDelivers()
{
    QVERIFY(std::holds_alternative<SmsStatusReport>(decodeReceived(raw(tpduSamples().last()))));
    QVERIFY(
        std::holds_alternative<UnreadableTpdu>(decodeReceived(raw("0001000B813108108300F00008044E2D6587"))));
    QVERIFY(std::holds_alternative<UnreadableTpdu>(decodeReceived({})));
}

void TpduTest::missingServiceCentre()
{
    const QByteArray octets = raw(Deliver{.text = u"a"_s}.hex()).sliced(1);
    QCOMPARE(std::get<SmsDeliver>(decodeReceived(octets, octets.size())).ud, u"a"_s);
}

void TpduTest::everyPrefixIsRefusedByItsField()
{
    for (const QByteArray &hex : tpduSamples()) {
        const QByteArray octets = raw(hex);
        QVERIFY2(!std::holds_alternative<UnreadableTpdu>(decodeReceived(octets)), hex.constData());
        for (qsizetype length = 0; length < octets.size(); ++length) {
            const ReceivedTpdu tpdu =
                decodeReceived(octets.first(length)); // of a truncated text what came is read
            const auto *unreadable = std::get_if<UnreadableTpdu>(&tpdu);
            QVERIFY(unreadable == nullptr || unreadable->problem.contains(u"too short for"_s));
        }
    }
}

void TpduTest::submits_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("parts");
    QTest::addColumn<int>("lastLength"); // TP-UDL of the last part: septets or octets, header included
    QTest::newRow("empty") << u""_s << 1 << 0;
    QTest::newRow("160-septets") << QString(160, u'a') << 1 << 160;
    QTest::newRow("161-septets") << QString(161, u'a') << 2 << 7 + 8;
    QTest::newRow("80-extended") << QString(80, u'€') << 1 << 160;
    QTest::newRow("81-extended") << QString(81, u'€') << 2 << 7 + 10;
    QTest::newRow("306-septets") << QString(306, u'a') << 2 << 160;
    QTest::newRow("307-septets") << QString(307, u'a') << 3 << 8;
    QTest::newRow("70-units") << QString(70, u'汉') << 1 << 140;
    QTest::newRow("71-units") << QString(71, u'汉') << 2 << 6 + 8;
    QTest::newRow("134-units") << QString(134, u'汉') << 2 << 140;
    QTest::newRow("135-units") << QString(135, u'汉') << 3 << 8;
    QTest::newRow("255-parts") << QString(qsizetype{255} * 67, u'汉') << 255 << 140;
    QTest::newRow("256-parts") << QString(qsizetype{255} * 67 + 1, u'汉') << 0 << 0;
    QTest::newRow("255-septet-parts") << QString(qsizetype{255} * 153, u'a') << 255 << 160;
    QTest::newRow("256-septet-parts") << QString(qsizetype{255} * 153 + 1, u'a') << 0 << 0;
}

void TpduTest::submits()
{
    QFETCH(const QString, text);
    const QList<SmsSubmit> submits = encodeSubmits(u"+8613800138000"_s, text, 200);
    QTEST(static_cast<int>(submits.size()), "parts");
    for (const SmsSubmit &submit : submits)
        QVERIFY2(submit.tpduOctets() <= 164, "3GPP TS 23.040: a TPDU has 164 octets at most");
    if (!submits.isEmpty()) {
        constexpr int userDataLengthAt = 14;
        QTEST(static_cast<int>(static_cast<quint8>(submits.last().octets[userDataLengthAt])), "lastLength");
    }
}

void TpduTest::partsJoinToTheText_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("septets") << QString(400, u'a');
    QTest::newRow("escape-at-the-cut") << QString(152, u'a') + u"€"_s + QString(152, u'b') + u"[]"_s;
    QTest::newRow("pair-at-the-cut") << QString(66, u'汉') + u"😀"_s + QString(66, u'字') + u"😀"_s;
    QTest::newRow("only-pairs") << u"😀"_s.repeated(100);
    QTest::newRow("lone-surrogates") << QString(150, QChar(0xd800));
    QTest::newRow("nul") << u"a"_s + QChar(0) + QString(200, u'b');
}

void TpduTest::partsJoinToTheText()
{
    QFETCH(const QString, text);
    const QList<SmsSubmit> submits = encodeSubmits(u"10086"_s, text, 7);
    QString joined;
    for (qsizetype i = 0; i < submits.size(); ++i) {
        const SmsDeliver part = asDeliver(submits[i]);
        QVERIFY(part.udh.concatenation ==
                (Concatenation{7, 8, static_cast<int>(submits.size()), static_cast<int>(i) + 1}));
        const bool endsInsidePair =
            part.ud.back().isHighSurrogate() &&
            text.at(joined.size() + part.ud.size() < text.size() ? joined.size() + part.ud.size() : 0)
                .isLowSurrogate();
        QVERIFY(!endsInsidePair);
        joined += part.ud;
    }
    QCOMPARE(joined, text);
}

QTEST_GUILESS_MAIN(TpduTest)
#include "TpduTest.moc"
