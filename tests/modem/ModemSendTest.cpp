#include "tests/modem/ModemBench.h"
#include "tests/modem/TestModem.h"

#include <QTest>

using namespace Qt::StringLiterals;

/// Every answer that a modem may give to a message.
class ModemSendTest : public QObject
{
    Q_OBJECT

private slots:
    void sends()
    {
        TestModem modem;
        ModemBench bench;
        bench.open(modem);
        modem.forgetCommands();
        QCOMPARE(bench.control.send(u" +8613800138000\t"_s, u"hellohello"_s), qint16{0});
        QCOMPARE(bench.control.send(numberText(), u"中文"_s), qint16{0});
        QCOMPARE(modem.commands(), (QByteArrayList{"AT+CMGS=23", "AT+CMGS=17"}));
        QCOMPARE(modem.tpdus(), (QByteArrayList{"0001000D91683108108300F000000AE8329BFD4697D9EC37",
                                                "0001000B813108108300F00008044E2D6587"}));
    }

    void refusesBeforeLine_data()
    {
        QTest::addColumn<QString>("to");
        QTest::addColumn<QString>("text");
        QTest::addColumn<qint16>("result");
        const auto row = [](const char *name, const QString &to, const QString &text, ModemResult result) {
            QTest::newRow(name) << to << text << code(result);
        };
        row("empty-number", u"  "_s, u"x"_s, ModemResult::NumberInvalid);
        row("plus-alone", u"+"_s, u"x"_s, ModemResult::NumberInvalid);
        row("letters", u"138abc"_s, u"x"_s, ModemResult::NumberInvalid);
        row("command-in-number", u"138\rATD110;"_s, u"x"_s, ModemResult::NumberInvalid);
        row("full-width-digits", u"１３８"_s, u"x"_s, ModemResult::NumberInvalid);
        row("21-digits", QString(21, u'1'), u"x"_s, ModemResult::NumberInvalid);
        row("256-parts", numberText(), QString(255 * 153 + 1, u'x'), ModemResult::TextTooLong);
        row("100000-characters", numberText(), QString(100000, u'汉'), ModemResult::TextTooLong);
        row("20-digits-empty-text", u'+' + QString(20, u'1'), {}, ModemResult::Ok);
        row("nul-and-emoji", numberText(), u"a"_s + QChar(0) + u"😀"_s, ModemResult::Ok);
    }
    void refusesBeforeLine()
    {
        QFETCH(const QString, to);
        QFETCH(const QString, text);
        QFETCH(const qint16, result);
        TestModem modem;
        ModemBench bench;
        bench.open(modem);
        modem.forgetCommands();
        QCOMPARE(bench.control.send(to, text), result);
        QCOMPARE(modem.commands().size(), result == 0 ? 1 : 0);
    }

    void sendResults_data()
    {
        QTest::addColumn<QByteArray>("toCommand"); // "" = prompt
        QTest::addColumn<QByteArray>("toTpdu");
        QTest::addColumn<int>("result"); // a fault is negative: -1 - kind
        const auto row = [](const char *name, const char *toCommand, const char *toTpdu, ModemResult result) {
            QTest::newRow(name) << QByteArray(toCommand) << QByteArray(toTpdu) << static_cast<int>(result);
        };
        const auto fault = [](const char *name, const char *toCommand, const char *toTpdu) {
            QTest::newRow(name) << QByteArray(toCommand) << QByteArray(toTpdu)
                                << -1 - static_cast<int>(ModemFault::Kind::NoNetwork);
        };
        row("accepted", "", "\r\n+CMGS: 0\r\n\r\nOK\r\n", ModemResult::Ok);
        row("accepted-lf-only-lower-case", "", "\n+cmgs: 12,\"x\"\nok\n", ModemResult::Ok);
        row("accepted-after-urc", "", "\r\n+CREG: 1\r\n+CMGS: 1\r\n+CMTI: \"SM\",1\r\nOK\r\n",
            ModemResult::Ok);
        row("bare-ok", "", "\r\nOK\r\n", ModemResult::NotConfirmed);
        row("no-number-in-reference", "", "\r\n+CMGS: \r\n\r\nOK\r\n", ModemResult::NotConfirmed);
        row("reference-then-error", "", "\r\n+CMGS: 3\r\n\r\n+CMS ERROR: 500\r\n", ModemResult::Refused);
        row("error", "", "\r\nERROR\r\n", ModemResult::Refused);
        row("cms-500", "", "\r\n+CMS ERROR: 500\r\n", ModemResult::Refused);
        row("cms-309", "", "\r\n+CMS ERROR: 309\r\n", ModemResult::Refused);
        row("cms-318", "", "\r\n+CMS ERROR: 318\r\n", ModemResult::Refused);
        row("cms-330", "", "\r\n+CMS ERROR: 330\r\n", ModemResult::Refused);
        row("cms-332", "", "\r\n+CMS ERROR: 332\r\n", ModemResult::Refused);
        fault("cms-310", "", "\r\n+CMS ERROR: 310\r\n");
        fault("cms-317", "", "\r\n+CMS ERROR: 317\r\n");
        fault("cms-331", "", "\r\n+CMS ERROR: 331\r\n");
        fault("cms-331-verbose", "", "\r\n+CMS ERROR: no network service\r\n");
        fault("cme-30-before-prompt", "\r\n+CME ERROR: 30\r\n", "");
        row("error-before-prompt", "\r\n+CMS ERROR: 304\r\n", "", ModemResult::Refused);
        row("ok-before-prompt", "\r\nOK\r\n", "", ModemResult::NotConfirmed);
        row("silence-after-tpdu", "", "", ModemResult::FateUnknown);
        row("unplugged-after-tpdu", "", "HANGUP", ModemResult::FateUnknown);
    }
    void sendResults()
    {
        QFETCH(const QByteArray, toCommand);
        QFETCH(const QByteArray, toTpdu);
        QFETCH(const int, result);
        TestModem modem;
        ModemBench bench;
        bench.open(modem);
        if (!toCommand.isEmpty())
            modem.answer("AT+CMGS", {toCommand});
        modem.answerTpdus({toTpdu});
        qint16 got = -1;
        const auto kind = faultOf(bench.control, numberText(), u"x"_s, &got);
        QCOMPARE(kind ? -1 - static_cast<int>(*kind) : got, result);
        QCOMPARE(modem.tpdus().size(), toCommand.isEmpty() ? 1 : 0);
        if (result > 0)
            QVERIFY(!bench.control.lastRefusal().isEmpty());
        if (toTpdu != "HANGUP" && toCommand.isEmpty())
            QCOMPARE(bench.control.send(numberText(), u"next"_s), qint16{0});
    }

    void lateResultIsNobodyElses_data()
    {
        QTest::addColumn<QByteArrayList>("toAt");
        QTest::addColumn<QByteArrayList>("toCmgs");
        const QByteArray late = "\r\n+CMGS: 7\r\n\r\nOK\r\n";
        const QByteArray ok = "\r\nOK\r\n";
        QTest::newRow("before-the-answer-to-at") << QByteArrayList{late + ok, ok} << QByteArrayList{"\r\n> "};
        QTest::newRow("instead-of-the-answer-to-at") << QByteArrayList{late, ok} << QByteArrayList{"\r\n> "};
        QTest::newRow("before-the-next-prompt")
            << QByteArrayList{ok} << QByteArrayList{"\r\n> ", late + "\r\n> "};
    }
    void lateResultIsNobodyElses()
    {
        QFETCH(const QByteArrayList, toAt);
        QFETCH(const QByteArrayList, toCmgs);
        TestModem modem;
        ModemBench bench;
        bench.open(modem);
        modem.answerTpdus({"", "\r\n+CMS ERROR: 500\r\n"});
        modem.answer("AT$", toAt);
        modem.answer("AT+CMGS", toCmgs);
        QCOMPARE(bench.control.send(numberText(), u"one"_s), code(ModemResult::FateUnknown));
        QCOMPARE(bench.control.send(numberText(), u"two"_s), code(ModemResult::Refused));
        QCOMPARE(bench.control.send(numberText(), u"three"_s), qint16{0});
        QCOMPARE(modem.tpdus().size(), 3);
    }

    void silentPromptLetsOthersGo()
    {
        TestModem modem;
        ModemBench bench;
        bench.open(modem);
        modem.answer("AT+CMGS", {""});
        QCOMPARE(faultOf(bench.control, numberText(), u"x"_s), ModemFault::Kind::NoAnswer);
        QVERIFY(bench.control.isPortOpen());
        QCOMPARE(modem.tpdus().size(), 0);
        QCOMPARE(bench.notices.size(), 0);
    }

    void unpluggedAtTpdu()
    {
        TestModem modem;
        TestModem replacement;
        ModemBench bench;
        bench.open(modem);
        modem.hangUp();
        QCOMPARE(faultOf(bench.control, numberText(), u"x"_s), ModemFault::Kind::PortLost);
        QVERIFY(!bench.control.isPortOpen());
        bench.plug(replacement);
        QCOMPARE(bench.control.send(numberText(), u"x"_s), qint16{0});
        QVERIFY(bench.control.isPortOpen());
        QCOMPARE(bench.notices.size(), 2);
    }

    void partAfterPart_data()
    {
        QTest::addColumn<QByteArrayList>("answers");
        QTest::addColumn<int>("result"); // negative: a fault
        QTest::addColumn<int>("tpdus");
        const QByteArray accepted = "\r\n+CMGS: 1\r\n\r\nOK\r\n";
        const QByteArray noNetwork = "\r\n+CMS ERROR: 331\r\n";
        QTest::newRow("all") << QByteArrayList{accepted, accepted, accepted} << 0 << 3;
        QTest::newRow("no-network-at-first") << QByteArrayList{noNetwork} << -1 << 1;
        QTest::newRow("no-network-at-second")
            << QByteArrayList{accepted, noNetwork} << static_cast<int>(ModemResult::PartlySent) << 2;
        QTest::newRow("unplugged-at-third")
            << QByteArrayList{accepted, accepted, "HANGUP"} << static_cast<int>(ModemResult::PartlySent) << 3;
    }
    void partAfterPart()
    {
        QFETCH(const QByteArrayList, answers);
        QFETCH(const int, result);
        QFETCH(const int, tpdus);
        TestModem modem;
        ModemBench bench;
        bench.open(modem);
        modem.answerTpdus(answers);
        qint16 got = 0;
        const bool isFault = faultOf(bench.control, numberText(), QString(150, u'汉'), &got).has_value();
        QCOMPARE(isFault ? -1 : got, result);
        QCOMPARE(modem.tpdus().size(), tpdus);
    }
};

QTEST_GUILESS_MAIN(ModemSendTest)
#include "ModemSendTest.moc"
