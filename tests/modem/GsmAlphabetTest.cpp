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
        QTest::newRow("portuguese-both") << 3 << 3 << QByteArray::fromHex("5b7c1b7b1b0e") << u"ÃõãÁ"_s;
        QTest::newRow("bengali-both") << 4 << 4 << QByteArray::fromHex("00032f3f 1b19 1b23 5f 7f 0c")
                                      << u"\u0981\u0985\u09A8?\u09E6\u09EF\u09CD\u09F1 "_s;
        QTest::newRow("unknown-language") << 200 << 200 << QByteArray::fromHex("041b65") << u"è€"_s;
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
            QSet<char16_t> seen;
            for (const char16_t character : main) {
                QVERIFY2(character == u' ' || !seen.contains(character), "one character in two places");
                QVERIFY2(character != 0, "no character in a place");
                seen.insert(character);
            }
            QCOMPARE(GsmTables::extension(language)[0x65], u'€');
        }
    }
};

QTEST_GUILESS_MAIN(GsmAlphabetTest)
#include "GsmAlphabetTest.moc"
