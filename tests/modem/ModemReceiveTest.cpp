#include "tests/modem/Deliver.h"
#include "tests/modem/ModemBench.h"
#include "tests/modem/TestModem.h"

#include <QTest>

using namespace Qt::StringLiterals;

/// What is in the modem's store comes once, in order, and is removed only when it was handled.
class ModemReceiveTest : public QObject
{
    Q_OBJECT

private slots:
    void receivesAtOpenInOrder()
    {
        TestModem modem;
        modem.store(0, Deliver{.text = u"third"_s, .scts = "62110291030023"}.hex());
        modem.store(2, Deliver{.text = u"first"_s, .scts = "62110281030023"}.hex(), 1);
        modem.store(1, Deliver{.text = u"fourth"_s, .scts = "62110291030023"}.hex());
        modem.store(3, Deliver{.text = u"second"_s, .scts = "62110281030023"}.hex());
        ModemBench bench;
        bench.open(modem);
        QVERIFY2(bench.received.isEmpty(), "raised inside open()");
        QTRY_COMPARE(bench.texts(), (QStringList{u"first"_s, u"second"_s, u"third"_s, u"fourth"_s}));
        QTRY_VERIFY(modem.storedIndices().isEmpty());
        const QDateTime time(QDate(2026, 11, 20), QTime(10, 30), Qt::UTC);
        QCOMPARE(bench.received.first().time, time.toLocalTime().toString(u"yyyy-MM-dd HH:mm:ss"_s));
        QCOMPARE(bench.received.first().sender, u"+8613800138000"_s);
        QString sender;
        QCOMPARE(bench.control.read(sender, sender, sender), code(ModemResult::NoMessage));
    }

    void receivesOnNotificationDuringSend()
    {
        TestModem modem;
        ModemBench bench;
        bench.open(modem);
        QTRY_COMPARE(modem.count("AT+CMGL"), 1);
        const int parts = 5;
        const QList<int> order{3, 1, 5, 2, 4};
        for (int i = 0; i < parts; ++i)
            modem.store(i, Deliver{.text = QString(60, QChar(u'一' + order[i])),
                                   .udh = Deliver::concatenation(9, parts, order[i])}
                               .hex());
        modem.store(
            7,
            Deliver{.sender = "8613900139000", .text = u"b"_s, .udh = Deliver::concatenation(9, 2, 2)}.hex());
        modem.store(
            8,
            Deliver{.sender = "8613900139000", .text = u"a"_s, .udh = Deliver::concatenation(9, 2, 1)}.hex());
        modem.answerTpdus({"\r\n+CMTI: \"SM\",8\r\n\r\n+CMGS: 4\r\n\r\n+CMTI: \"SM\",9\r\nOK\r\n"});
        QCOMPARE(bench.control.send(numberText(), u"x"_s), qint16{0});
        QVERIFY(bench.received.isEmpty());
        QTRY_COMPARE(bench.received.size(), 2);
        QString whole;
        for (int i = 1; i <= parts; ++i)
            whole += QString(60, QChar(u'一' + i));
        QVERIFY(bench.texts().contains(whole));
        QVERIFY(bench.texts().contains(u"ab"_s));
        QTRY_VERIFY(modem.storedIndices().isEmpty());
    }

    void waitKeepsOrder()
    {
        TestModem modem;
        for (int i = 0; i < 10; ++i)
            modem.store(i, Deliver{.text = QString::number(i)}.hex());
        ModemBench bench;
        // The second time its handler failed before it could tell.
        bench.fates = {MessageFate::Handled, MessageFate::Wait, std::nullopt};
        bench.open(modem);
        QTRY_VERIFY(modem.storedIndices().isEmpty());
        QCOMPARE(bench.texts(), (QStringList{u"0"_s, u"1"_s, u"1"_s, u"1"_s, u"2"_s, u"3"_s, u"4"_s, u"5"_s,
                                             u"6"_s, u"7"_s, u"8"_s, u"9"_s}));
    }

    void refusedLetsOthersGo()
    {
        TestModem modem;
        for (int i = 0; i < 3; ++i)
            modem.store(i, Deliver{.text = QString::number(i)}.hex());
        ModemBench bench;
        bench.fates = {MessageFate::Refused};
        bench.open(modem);
        QTRY_COMPARE(modem.storedIndices(), QList<int>{0});
        bench.clock.advanceSeconds(10);
        modem.say("\r\n+CMTI: \"SM\",5\r\n"); // makes the control look at the clock
        QTRY_VERIFY(modem.storedIndices().isEmpty());
        QCOMPARE(bench.texts(), (QStringList{u"0"_s, u"1"_s, u"2"_s, u"0"_s}));
    }

    void failedRemovalHandlesOnce()
    {
        TestModem modem;
        modem.store(1, Deliver{.text = u"a"_s}.hex());
        modem.answer("AT+CMGD", {"\r\n+CMS ERROR: 500\r\n"});
        ModemBench bench;
        bench.open(modem);
        QTRY_COMPARE(modem.count("AT+CMGD"), 1);
        modem.deliver(2, Deliver{.text = u"b"_s}.hex());
        QTRY_COMPARE(bench.texts(), (QStringList{u"a"_s, u"b"_s}));
        // Closed and opened again in the same run: still not raised a second time.
        QCOMPARE(bench.control.close(), qint16{0});
        QCOMPARE(bench.control.open(), qint16{0});
        const int before = modem.count("AT+CMGD");
        QTRY_VERIFY(modem.count("AT+CMGD") >= before + 2);
        QCOMPARE(bench.texts(), (QStringList{u"a"_s, u"b"_s}));
    }

    void directMessages()
    {
        TestModem modem;
        modem.answer("AT+CSMS?", {"\r\n+CSMS: 1,1,1,1\r\n\r\nOK\r\n"});
        ModemBench bench;
        bench.fates = {MessageFate::Wait};
        bench.open(modem);
        const QByteArray hex = Deliver{.text = u"flash"_s}.hex();
        modem.answerTpdus({"\r\n+CMT: ," + QByteArray::number(hex.size() / 2 - 1) + "\r\n" + hex +
                           "\r\n+CMGS: 4\r\n\r\nOK\r\n"});
        QCOMPARE(bench.control.send(numberText(), u"x"_s), qint16{0});
        QTRY_COMPARE(bench.texts(), (QStringList{u"flash"_s, u"flash"_s}));
        QTRY_COMPARE(modem.count("AT+CNMA"), 1); // after it was handled
        modem.say("\r\n+CDS: 24\r\n0006010B913108108300F06211020191000062110201910000"
                  "00\r\n");
        QTRY_COMPARE(modem.count("AT+CNMA"), 2);
        QCOMPARE(bench.received.size(), 2);
    }

    void leavesDraftsAlone()
    {
        TestModem modem;
        modem.store(1, "0001000B813108108300F00008044E2D6587", 2);                 // stored, unsent
        modem.store(2, "0001000B813108108300F00008044E2D6587", 3);                 // stored, sent
        modem.store(3, "0006010B913108108300F0621102019100006211020191000000", 1); // status report
        modem.store(4, Deliver{.text = u"a"_s}.hex());
        ModemBench bench;
        bench.open(modem);
        QTRY_COMPARE(modem.storedIndices(), (QList<int>{1, 2}));
        QCOMPARE(bench.texts(), QStringList{u"a"_s});
    }

    void fullStoreGivesOldestIncomplete()
    {
        TestModem modem;
        modem.setStoreSize(3);
        modem.store(
            0, Deliver{.text = u"old"_s, .scts = "62110281030023", .udh = Deliver::concatenation(1, 2, 1)}
                   .hex());
        modem.store(1, Deliver{.text = u"new"_s, .udh = Deliver::concatenation(2, 3, 1)}.hex());
        ModemBench bench;
        bench.open(modem);
        QTRY_COMPARE(modem.count("AT+CMGL"), 1);
        QCOMPARE(bench.received.size(), 0);
        modem.deliver(2, Deliver{.text = u"er"_s, .udh = Deliver::concatenation(2, 3, 2)}.hex());
        QTRY_COMPARE(bench.texts(), QStringList{u"old"_s});
        QTRY_COMPARE(modem.storedIndices(), (QList<int>{1, 2}));
        QCOMPARE(bench.notices.size(), 1);
        QVERIFY(bench.notices.first().contains(u"3"_s));
    }

    void closeInHandler()
    {
        TestModem modem;
        modem.store(1, Deliver{.text = u"a"_s}.hex());
        ModemBench bench;
        bench.plug(modem);
        QObject::connect(&bench.control, &ModemControl::messageArrived, &bench.control,
                         [&] { static_cast<void>(bench.control.close()); });
        QCOMPARE(bench.control.open(), qint16{0});
        QTRY_COMPARE(bench.received.size(), 1);
        QCOMPARE(modem.storedIndices(), QList<int>{1});
        QCOMPARE(bench.control.open(), qint16{0});
        QTRY_VERIFY(modem.storedIndices().isEmpty());
        QCOMPARE(bench.received.size(), 1);
    }

    void countryCode()
    {
        TestModem modem;
        modem.store(1, Deliver{.text = u"a"_s}.hex());
        modem.store(2, Deliver{.sender = "85298765432", .text = u"b"_s}.hex());
        ModemBench bench;
        bench.control.setSenderCountryCode(u"86"_s);
        bench.open(modem);
        QTRY_COMPARE(bench.received.size(), 2);
        QCOMPARE(bench.received[0].sender, u"13800138000"_s);
        QCOMPARE(bench.received[1].sender, u"+85298765432"_s);
    }
};

QTEST_GUILESS_MAIN(ModemReceiveTest)
#include "ModemReceiveTest.moc"
