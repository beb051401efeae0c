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

    void submitsHave255PartsAtMost()
    {
        for (const auto &[character, most] : {std::pair(u'汉', 255 * 67), std::pair(u'a', 255 * 153)}) {
            const QList<SmsSubmit> submits = encodeSubmits(u"1"_s, QString(most, character), 200);
            QCOMPARE(submits.size(), 255);
            QVERIFY2(submits.last().tpduOctets() <= 164, "3GPP TS 23.040: a TPDU has 164 octets at most");
            QVERIFY(encodeSubmits(u"1"_s, QString(most + 1, character), 200).isEmpty());
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
