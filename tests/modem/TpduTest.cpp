#include "modem/tpdu/GsmAlphabet.h"
#include "modem/tpdu/ReceivedTpdu.h"
#include "modem/tpdu/SmsSubmit.h"
#include "tests/support/TextTable.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

QByteArray raw(const QString &hex)
{
    return QByteArray::fromHex(hex.toLatin1());
}

QString placeOf(const SmsDeliver &deliver)
{
    const auto &c = deliver.udh.concatenation;
    return c ? u"%1/%2/%3/%4"_s.arg(c->reference).arg(c->referenceBits).arg(c->total).arg(c->sequence)
             : u"-"_s;
}

} // namespace

class TpduTest : public QObject
{
    Q_OBJECT

private slots:
    void delivers_data() { addTranscripts({QStringLiteral(DELIVER_VECTORS)}); }
    void delivers()
    {
        QFETCH(QStringList, steps);
        const QByteArray octets = raw(steps[0]);
        const auto deliver = std::get<SmsDeliver>(decodeReceived(octets));
        QCOMPARE(deliver.oa.display(), steps[1]);
        QCOMPARE(placeOf(deliver), steps[2]);
        QCOMPARE(deliver.ud, steps[3]);
        const QString time = steps.value(4);
        if (!time.isEmpty())
            QCOMPARE(deliver.scts.isValid() ? deliver.scts.toUTC().toString(u"yyyy-MM-ddTHH:mm:ss") : u"-"_s,
                     time);
        for (qsizetype length = 0; length < octets.size(); ++length) {
            // Of a truncated text what came is read.
            const ReceivedTpdu tpdu = decodeReceived(octets.first(length));
            const auto *unreadable = std::get_if<UnreadableTpdu>(&tpdu);
            QVERIFY(unreadable == nullptr || unreadable->problem.contains(u"too short for"_s));
        }
        // A modem may leave the service-centre address away; the length that it tells says so.
        const QByteArray tpdu = octets.sliced(1 + octets[0]);
        QCOMPARE(std::get<SmsDeliver>(decodeReceived(tpdu, tpdu.size())), deliver);
    }

    void notDelivers()
    {
        const auto isUnreadable = [](const QString &hex) {
            return std::holds_alternative<UnreadableTpdu>(decodeReceived(raw(hex)));
        };
        QVERIFY(isUnreadable(u"0001000B813108108300F00008044E2D6587"_s));    // a submit
        QVERIFY(isUnreadable(u"0004FF912143658700006211029103002301 41"_s)); // 255 digits of a sender
        QVERIFY(isUnreadable(u""_s));
        const QByteArray report = raw(u"0006070B913108108300F0621102019100236211020191002300"_s);
        QVERIFY(std::holds_alternative<SmsStatusReport>(decodeReceived(report)));
        for (qsizetype length = 0; length < report.size(); ++length)
            QVERIFY(std::holds_alternative<UnreadableTpdu>(decodeReceived(report.first(length))));
    }

    void submits_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("parts");
        QTest::addColumn<int>("lastLength"); // TP-UDL of the last part: septets or octets, header included
        QTest::newRow("empty") << u""_s << 1 << 0;
        QTest::newRow("160-septets") << QString(160, u'a') << 1 << 160;
        QTest::newRow("161-septets") << QString(161, u'a') << 2 << 7 + 8;
        QTest::newRow("81-extended") << QString(81, u'€') << 2 << 7 + 10;
        QTest::newRow("307-septets") << QString(307, u'a') << 3 << 8;
        QTest::newRow("70-units") << QString(70, u'汉') << 1 << 140;
        QTest::newRow("71-units") << QString(71, u'汉') << 2 << 6 + 8;
        QTest::newRow("135-units") << QString(135, u'汉') << 3 << 8;
        QTest::newRow("255-parts") << QString(qsizetype{255} * 67, u'汉') << 255 << 140;
        QTest::newRow("256-parts") << QString(qsizetype{255} * 67 + 1, u'汉') << 0 << 0;
        QTest::newRow("256-septet-parts") << QString(qsizetype{255} * 153 + 1, u'a') << 0 << 0;
    }

    void submits()
    {
        QFETCH(const QString, text);
        const QList<SmsSubmit> submits = encodeSubmits(u"+8613800138000"_s, text, 200);
        QTEST(static_cast<int>(submits.size()), "parts");
        for (const SmsSubmit &submit : submits)
            QVERIFY2(submit.tpduOctets() <= 164, "3GPP TS 23.040: a TPDU has 164 octets at most");
        if (!submits.isEmpty()) {
            constexpr int userDataLengthAt = 14;
            QTEST(static_cast<int>(static_cast<quint8>(submits.last().octets[userDataLengthAt])),
                  "lastLength");
        }
    }

    void everyCharacterComesBack()
    {
        QString all;
        for (char16_t c = 0; c < 0xffff; ++c) {
            if (GsmAlphabet::encode(QString(QChar(c))))
                all.append(QChar(c));
        }
        QCOMPARE(all.size(), 127 + 10); // 3GPP TS 23.038: 127 without ESC, 10 extended
        QCOMPARE(GsmAlphabet::decode(*GsmAlphabet::encode(all)), all);
    }
};

QTEST_GUILESS_MAIN(TpduTest)
#include "TpduTest.moc"
