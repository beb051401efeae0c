#include "modem/tpdu/GsmAlphabet.h"

#include "modem/tpdu/GsmTables.h"

#include <QSet>
#include <QTest>

using namespace Qt::StringLiterals;

class GsmAlphabetTest : public QObject
{
    Q_OBJECT

private slots:
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

    void packs_data()
    {
        QTest::addColumn<QByteArray>("septets");
        QTest::addColumn<int>("fillBits");
        QTest::addColumn<QByteArray>("octets");
        QTest::newRow("hellohello") << QByteArray("hellohello") << 0 << QByteArray("e8329bfd4697d9ec37");
        QTest::newRow("empty") << QByteArray() << 3 << QByteArray();
        QTest::newRow("eight-fit-seven") << QByteArray(8, '\x7f') << 0 << QByteArray("ffffffffffffff");
        QTest::newRow("one-fill-bit") << QByteArray("A") << 1 << QByteArray("82");
        QTest::newRow("six-fill-bits") << QByteArray("AB") << 6 << QByteArray("405008");
    }
    void packs()
    {
        QFETCH(const QByteArray, septets);
        QFETCH(const int, fillBits);
        const QByteArray octets = GsmAlphabet::pack(septets, fillBits);
        QTEST(octets.toHex(), "octets");
        QCOMPARE(GsmAlphabet::unpack(octets, septets.size(), fillBits), septets);
        for (qsizetype length = 0; length < octets.size(); ++length)
            QVERIFY(septets.startsWith(GsmAlphabet::unpack(octets.first(length), septets.size(), fillBits)));
    }

    void nationalTables_data()
    {
        QTest::addColumn<int>("locking");
        QTest::addColumn<int>("single");
        QTest::addColumn<QByteArray>("septets");
        QTest::addColumn<QString>("text");
        QTest::newRow("turkish-locking")
            << 1 << 0 << QByteArray::fromHex("04070b0c1c1d4060") << u"€ıĞğŞşİç"_s;
        QTest::newRow("turkish-single") << 0 << 1 << QByteArray::fromHex("1b471b531b731b65") << u"ĞŞş€"_s;
        QTest::newRow("spanish-single") << 0 << 2 << QByteArray::fromHex("1b411b611b09") << u"Ááç"_s;
        QTest::newRow("spanish-has-no-locking") << 2 << 0 << QByteArray::fromHex("04") << u"è"_s;
        QTest::newRow("portuguese-both") << 3 << 3 << QByteArray::fromHex("5b7c1b7b1b0e") << u"ÃõãÁ"_s;
        QTest::newRow("hindi-both") << 6 << 6 << QByteArray::fromHex("15506021 1b1c1b25 5f 61 7f")
                                    << u"\u0915\u093E\u0950!\u0966\u096F\u094Da\u097F"_s;
        QTest::newRow("bengali-both") << 4 << 4 << QByteArray::fromHex("00032f3f 1b19 1b23 5f 7f 0c")
                                      << u"\u0981\u0985\u09A8?\u09E6\u09EF\u09CD\u09F1 "_s;
        QTest::newRow("tamil-both") << 11 << 11 << QByteArray::fromHex("00 01 3c 1b1c 4d 50")
                                    << u" \u0B82\u0BA9\u0BE6\u0BB9\u0BBE"_s;
        QTest::newRow("urdu-both") << 13 << 13 << QByteArray::fromHex("00 4d 1b26 1b3f 7f")
                                   << u"\u0627\u0644\u060C\u06D4\u0670"_s;
        QTest::newRow("unknown-language") << 200 << 200 << QByteArray::fromHex("041b65") << u"è€"_s;
        QTest::newRow("undefined-single-shows-main") << 1 << 1 << QByteArray::fromHex("1b04") << u"€"_s;
        QTest::newRow("double-escape") << 0 << 0 << QByteArray::fromHex("411b1b41") << u"A A"_s;
    }
    void nationalTables()
    {
        QFETCH(const int, locking);
        QFETCH(const int, single);
        QFETCH(const QByteArray, septets);
        QTEST(GsmAlphabet::decode(septets, {locking, single}), "text");
    }

    void tablesAreSound()
    {
        for (int language = 0; language <= 14; ++language) {
            const GsmTables::Table &main = GsmTables::locking(language);
            QCOMPARE(main[0x0a], u'\n');
            QCOMPARE(main[0x0d], u'\r');
            QCOMPARE(main[0x1b], u'\x1b');
            QSet<char16_t> seen;
            for (const char16_t character : main) {
                QVERIFY2(character == u' ' || !seen.contains(character), "one character in two places");
                QVERIFY2(character != 0, "no character in a place");
                seen.insert(character);
            }
            QCOMPARE(GsmTables::extension(language)[0x0a], u'\f');
            QCOMPARE(GsmTables::extension(language)[0x1b], u'\0');
            QCOMPARE(GsmTables::extension(language)[0x65], u'€');
        }
    }
};

QTEST_GUILESS_MAIN(GsmAlphabetTest)
#include "GsmAlphabetTest.moc"
