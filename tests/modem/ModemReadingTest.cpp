#include "tests/modem/Deliver.h"
#include "tests/modem/ModemBench.h"
#include "tests/modem/TestModem.h"

#include <QTest>

using namespace Qt::StringLiterals;

/// No single reading of the modem's store is trusted.
class ModemReadingTest : public QObject
{
    Q_OBJECT

private slots:
    void damagedReadingIsNotTrusted_data()
    {
        QTest::addColumn<QByteArray>("listed"); // of messages "ab" in place 1 and "cd" in place 2, at first
        QTest::addColumn<QByteArrayList>("readAgain");
        QTest::addColumn<QStringList>("texts"); // "" = unreadable
        const QByteArray ab = Deliver{.text = u"ab"_s}.hex();
        const auto header = [&](const QByteArray &prefix) {
            return "\r\n" + prefix + "0,," + QByteArray::number(ab.size() / 2 - 1) + "\r\n";
        };
        const QByteArray cd = Deliver{.text = u"cd"_s}.hex();
        const QByteArray ok = "\r\nOK\r\n";
        const QByteArray head = header("+CMGL: 1,");
        const auto read = [&](const QByteArray &hex) { return header("+CMGR: ") + hex + "\r\n" + ok; };
        const auto listing = [&](const QByteArray &hex) {
            return head + hex + "\r\n" + header("+CMGL: 2,") + cd + "\r\n" + ok;
        };
        const QStringList both{u"ab"_s, u"cd"_s};
        const auto row = [](const char *name, const QByteArray &listing, const QByteArrayList &readings,
                            const QStringList &texts) {
            QTest::newRow(name) << listing << readings << texts;
        };
        row("tpdu-line-missing", head + header("+CMGL: 2,") + cd + "\r\n" + ok, {"*"}, both);
        row("octets-missing", listing(ab.chopped(4)), {"*"}, both);
        row("no-hex-digit", listing(ab.chopped(1) + '?'), {"*"}, both);
        row("another-hex-digit", listing(ab.chopped(1) + '7'), {"*"}, both);
        row("header-missing", ab + "\r\n" + header("+CMGL: 2,") + cd + "\r\n" + ok, {"*"},
            {u"cd"_s, u"ab"_s});
        row("octets-of-the-next", head + cd + "\r\n" + ok, {"*"}, both);
        row("status-report-in-its-place",
            head + "0006010B913108108300F0621102019100006211020191000000\r\n" + ok, {"*"}, both);
        row("another-index", "\r\n+CMGL: 7" + listing(ab).sliced(10), {"*"}, {u"cd"_s, u"ab"_s});
        row("read-again-damaged", listing(ab), {read(ab.chopped(6)), "*"}, both);
        row("each-reading-differs", listing(ab.chopped(4)), {read(ab.chopped(6)), read(ab.chopped(8)), "*"},
            {u"cd"_s, u"ab"_s});
        row("twice-no-octets", listing("?" + ab.sliced(1)), {read("?" + ab.sliced(1)), read(""), "*"},
            {u"cd"_s, u"ab"_s});
        row("cannot-be-read-singly", listing(ab), {"\r\nERROR\r\n"}, both);
        row("truncated-for-good", listing(ab.chopped(4)), {read(ab.chopped(4)), "*"}, {u"a"_s, u"cd"_s});
        row("unreadable-for-good", listing(ab.first(20)), {read(ab.first(20)), "*"}, {u"cd"_s, u""_s});
    }
    void damagedReadingIsNotTrusted()
    {
        QFETCH(const QByteArray, listed);
        QFETCH(const QByteArrayList, readAgain);
        QFETCH(const QStringList, texts);
        TestModem modem;
        modem.store(1, Deliver{.text = u"ab"_s}.hex());
        modem.store(2, Deliver{.text = u"cd"_s}.hex());
        modem.answer("AT+CMGL", {listed, "*"});
        modem.answer("AT+CMGR", readAgain);
        ModemBench bench;
        QFile octets(bench.directory.filePath(u"unreadable-sms.log"_s));
        bench.control.setUnreadableFile(octets.fileName());
        bench.open(modem);
        if (listed.count("+CMGL:") < 2) { // what one listing does not show, the next one will
            QTRY_COMPARE(bench.received.size(), 1);
            modem.say("\r\n+CMTI: \"SM\",2\r\n");
        }
        QTRY_VERIFY(modem.storedIndices().isEmpty());
        QCOMPARE(bench.texts(), texts);
        QCOMPARE(octets.open(QIODevice::ReadOnly), texts.contains(u""_s));
        QCOMPARE(bench.notices.size(), texts.contains(u""_s) ? 1 : 0);
        if (!bench.notices.isEmpty())
            QVERIFY(bench.notices.first().contains(
                QString::fromLatin1(octets.readAll().trimmed().split(' ').last())));
    }

    void textModeAtAReadingIsBroughtUp()
    {
        TestModem modem;
        modem.store(1, Deliver{.text = u"ab"_s}.hex());
        modem.answer("AT+CMGL=4",
                     {"\r\n+CMGL: 1,\"REC UNREAD\",\"+86138\",,\"26/11/20\"\r\nab\r\n\r\nOK\r\n",
                      "\r\n+CMGL: 1,0,,25\r\n" + Deliver{.text = u"ab"_s}.hex() + "\r\n\r\nOK\r\n",
                      "\r\nOK\r\n"});
        ModemBench bench;
        bench.open(modem);
        QTRY_COMPARE(bench.texts(), QStringList{u"ab"_s});
        QTRY_VERIFY(modem.storedIndices().isEmpty());
    }

    void listsOneByOne()
    {
        TestModem modem;
        modem.setStoreSize(5);
        modem.answer("AT+CMGL", {"\r\nERROR\r\n"});
        modem.store(0, Deliver{.text = u"a"_s}.hex());
        modem.store(5, Deliver{.text = u"b"_s}.hex());
        ModemBench bench;
        bench.open(modem);
        QTRY_VERIFY(modem.storedIndices().isEmpty());
        QCOMPARE(bench.texts(), (QStringList{u"a"_s, u"b"_s}));
    }

    void twoExchangesForMessageAndTheListing()
    {
        TestModem modem;
        ModemBench bench;
        bench.open(modem);
        QTRY_COMPARE(modem.count("AT+CMGL"), 1);
        modem.forgetCommands();
        modem.deliver(4, Deliver{.text = u"a"_s}.hex());
        QTRY_VERIFY(modem.storedIndices().isEmpty());
        QCOMPARE(modem.commands(),
                 (QByteArrayList{"AT+CMGF=0", "AT+CNMI=2,1,0,0,0", "AT+CMGL=4", "AT+CMGR=4", "AT+CMGD=4"}));
    }

    void restOfAnEarlierRunsMessageIsRemovedAtOpen()
    {
        TestModem modem;
        modem.store(1, Deliver{.text = u"b"_s, .udh = Deliver::concatenation(1, 2, 2)}.hex());
        modem.store(2, Deliver{.text = u"c"_s, .udh = Deliver::concatenation(2, 2, 2)}.hex());
        ModemBench bench;
        bench.control.setRestTest([](const QString &sender, const QString &, const QStringList &fragments) {
            return sender == u"+8613800138000"_s && fragments == QStringList{u"b"_s};
        });
        bench.open(modem);
        QTRY_COMPARE(modem.storedIndices(), QList<int>{2});
        QVERIFY(bench.received.isEmpty());
    }
};

QTEST_GUILESS_MAIN(ModemReadingTest)
#include "ModemReadingTest.moc"
