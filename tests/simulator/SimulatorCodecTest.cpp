#include "modem/tpdu/ReceivedTpdu.h"
#include "modem/tpdu/SmsSubmit.h"
#include "simulator/tpdu/TpduEncoder.h"

#include <QTest>
#include <QTimeZone>

using namespace Qt::StringLiterals;

/// What one of the two codecs, which share nothing, writes the other reads.
class SimulatorCodecTest : public QObject
{
    Q_OBJECT

private slots:
    void roundTrip_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("every character") << u"@£$¥èéùìòÇ\nØø\rÅåΔ_ΦΓΛΩΠΨΣΘΞÆæßÉ "
                                            u"!\"#¤%&'()*+,-./0123456789:;<=>?¡ABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                            "ÄÖÑÜ§¿abcdefghijklmnopqrstuvwxyzäöñüà\f^{}\\[~]|€"_s;
        QTest::newRow("nothing") << QString();
        QTest::newRow("160 septets") << QString(160, u'a');
        QTest::newRow("161 septets") << QString(161, u'a');
        QTest::newRow("an escape at the end of a part") << QString(152, u'a') + QString(200, u'€');
        QTest::newRow("70 units") << QString(70, u'汉');
        QTest::newRow("a pair at the end of a part") << QString(66, u'汉') + u"😀"_s.repeated(100);
        QTest::newRow("no character of ours") << u"\u00a0ç"_s;
    }
    void roundTrip()
    {
        QFETCH(QString, text);
        const QDateTime sentAt(QDate(2026, 11, 20), QTime(19, 30, 59), QTimeZone(-45 * 60));
        for (const QString &number : {u"+8613800138000"_s, u"10086"_s, u"12345678901234567890"_s}) {
            const QList<SmsSubmit> submits = encodeSubmits(number, text, 200);
            const QList<QByteArray> delivers = simulator::encodeDeliver({.number = number,
                                                                         .text = text,
                                                                         .scts = sentAt,
                                                                         .smsc = u"+8613800100500"_s,
                                                                         .reference = 200});
            QCOMPARE(submits.size(), delivers.size());
            QString submitted;
            QString delivered;
            for (qsizetype i = 0; i < submits.size(); ++i) {
                const int part = static_cast<int>(i) + 1;
                submitted += readSubmit(submits[i].octets, number, part);
                const auto deliver = std::get<SmsDeliver>(decodeReceived(delivers[i]));
                delivered += deliver.ud;
                QCOMPARE(deliver.oa.display(), number);
                QCOMPARE(deliver.scts, sentAt);
                QCOMPARE(deliver.udh.concatenation ? deliver.udh.concatenation->sequence : 1, part);
            }
            QCOMPARE(submitted, text);
            QCOMPARE(delivered, text);
        }
    }

private:
    /// Its text. Nothing less than all of it is a TPDU.
    static QString readSubmit(const QByteArray &octets, const QString &number, int part)
    {
        using namespace simulator;
        const auto read = [](const QByteArray &some) {
            const auto decoded = decodeTpdu(some, Direction::FromModem);
            return std::holds_alternative<Tpdu>(decoded) ? std::optional(std::get<Tpdu>(decoded))
                                                         : std::nullopt;
        };
        for (qsizetype length = 0; length < octets.size(); ++length) {
            if (read(octets.first(length)))
                return u"a part of it is one, too"_s;
        }
        const std::optional<Tpdu> tpdu = read(octets);
        if (!tpdu || tpdu->number != number ||
            tpdu->concatenation.value_or(simulator::Concatenation{}).sequence != part)
            return u"refused"_s;
        return tpdu->text;
    }
};

QTEST_GUILESS_MAIN(SimulatorCodecTest)
#include "SimulatorCodecTest.moc"
