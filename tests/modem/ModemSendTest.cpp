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
        QCOMPARE(modem.commands(), (QByteArrayList{"AT+CMGF=0", "AT+CMGS=23", "AT+CMGS=17"}));
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
        QCOMPARE(modem.count("AT+CMGS"), result == 0 ? 1 : 0);
    }

    void sendResults_data()
    {
        QTest::addColumn<QByteArray>("toCommand"); // "" = prompt
        QTest::addColumn<QByteArray>("toTpdu");
        QTest::addColumn<int>("result"); // a fault is negative: -1 - kind
        const auto row = [](const char *name, const char *toCommand, const QByteArray &toTpdu,
                            ModemResult result) {
            QTest::newRow(name) << QByteArray(toCommand) << toTpdu << static_cast<int>(result);
        };
        using Kind = ModemFault::Kind;
        const auto fault = [](const char *name, const char *toCommand, const QByteArray &toTpdu,
                              Kind kind = Kind::NotTaken) {
            QTest::newRow(name) << QByteArray(toCommand) << toTpdu << -1 - static_cast<int>(kind);
        };
        row("accepted", "", "\r\n+CMGS: 0\r\n\r\nOK\r\n", ModemResult::Ok);
        row("accepted-lf-only-lower-case", "", "\n+cmgs: 12,\"x\"\nok\n", ModemResult::Ok);
        row("accepted-after-urc", "", "\r\n+CREG: 1\r\n+CMGS: 1\r\n+CMTI: \"SM\",1\r\nOK\r\n",
            ModemResult::Ok);
        row("heartbeat-before-the-reference", "", "\r\n^BOOT:27,0,0,0,75\r\n\r\n+CMGS: 3\r\n\r\nOK\r\n",
            ModemResult::Ok);
        row("announcement-that-is-no-restart", "", "\r\nSMS READY\r\n\r\n+CMGS: 3\r\n\r\nOK\r\n",
            ModemResult::Ok);
        row("reference-without-ok", "", "\r\n+CMGS: 3\r\n", ModemResult::Ok);
        row("reference-then-error", "", "\r\n+CMGS: 3\r\n\r\n+CMS ERROR: 500\r\n", ModemResult::Ok);
        row("bare-ok", "", "\r\nOK\r\n", ModemResult::NotConfirmed);
        row("no-number-in-reference", "", "\r\n+CMGS: \r\n\r\nOK\r\n", ModemResult::NotConfirmed);
        for (const int permanent : {1, 8, 10, 21, 28, 30, 50, 81, 127, 128, 193, 195, 207, 303, 304})
            row(qPrintable(u"cms-%1"_s.arg(permanent)), "",
                "\r\n+CMS ERROR: " + QByteArray::number(permanent) + "\r\n", ModemResult::Refused);
        row("cms-verbose", "", "\r\n+CMS ERROR: unassigned number\r\n", ModemResult::Refused);
        for (const int temporary : {0,   2,   17,  22,  27,  38,  41,  42,  47,  69,  192,
                                    194, 208, 300, 319, 330, 331, 332, 500, 512, 515, 532})
            fault(qPrintable(u"cms-%1"_s.arg(temporary)), "",
                  "\r\n+CMS ERROR: " + QByteArray::number(temporary) + "\r\n");
        fault("error", "", "\r\nERROR\r\n");
        fault("cms-unknown-words", "", "\r\n+CMS ERROR: whatever\r\n");
        fault("cme-515", "", "\r\n+CME ERROR: 515\r\n");
        fault("cms-310", "", "\r\n+CMS ERROR: 310\r\n", Kind::NoNetwork);
        fault("cms-318", "", "\r\n+CMS ERROR: 318\r\n", Kind::NoNetwork);
        fault("cme-10", "", "\r\n+CME ERROR: 10\r\n", Kind::NoNetwork);
        fault("cme-30-before-prompt", "\r\n+CME ERROR: 30\r\n", "", Kind::NoNetwork);
        fault("permanent-code-before-prompt", "\r\n+CMS ERROR: 304\r\n", "", Kind::NotPrompted);
        fault("cme-515-before-prompt", "\r\n+CME ERROR: 515\r\n", "", Kind::NotPrompted);
        fault("ok-before-prompt", "\r\nOK\r\n", "", Kind::NotPrompted);
        row("silence-after-tpdu", "", "", ModemResult::FateUnknown);
        row("unplugged-after-tpdu", "", "HANGUP", ModemResult::FateUnknown);
        row("tpdu-echoed-although-echo-is-off", "",
            "0001000B813108108300F000000178\r\n+CMGS: 3\r\n\r\nOK\r\n", ModemResult::FateUnknown);
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
        modem.answerTpdus({"", "\r\n+CMS ERROR: 1\r\n"});
        modem.answer("AT$", toAt);
        modem.answer("AT+CMGS", toCmgs);
        QCOMPARE(bench.control.send(numberText(), u"one"_s), code(ModemResult::FateUnknown));
        QCOMPARE(bench.control.send(numberText(), u"two"_s), code(ModemResult::Refused));
        QCOMPARE(bench.control.send(numberText(), u"three"_s), qint16{0});
        QCOMPARE(modem.tpdus().size(), 3);
    }

    void refusedBeforeThePromptIsTriedOnceMore()
    {
        TestModem modem;
        ModemBench bench;
        bench.open(modem);
        modem.answer("AT+CMGS", {"\r\n+CMS ERROR: 512\r\n", "\r\n> "});
        QCOMPARE(bench.control.send(numberText(), u"x"_s), qint16{0});
        QCOMPARE(modem.tpdus().size(), 1);
    }

    void withoutRegistrationNothingIsRefused()
    {
        TestModem modem;
        ModemBench bench;
        bench.open(modem);
        modem.answer("AT+CREG?", {"\r\n+CREG: 0,2\r\n\r\nOK\r\n"});
        modem.answer("AT+C", {"\r\nERROR\r\n"}); // the other two questions
        modem.answer("AT+CMGF", {"\r\nOK\r\n"});
        modem.answer("AT+CMGS", {"\r\n> "});
        modem.answerTpdus({"\r\n+CMS ERROR: 500\r\n"});
        QCOMPARE(faultOf(bench.control, numberText(), u"x"_s), ModemFault::Kind::NoNetwork);
    }

    void restartAfterTheHandOverEndsTheWait()
    {
        TestModem modem;
        ModemLimits limits = shortLimits();
        limits.sendResult = std::chrono::minutes(5);
        ModemBench bench(limits);
        bench.open(modem);
        modem.forgetCommands();
        modem.answerTpdus({"\r\n^SYSSTART\r\n"});
        QCOMPARE(bench.control.send(numberText(), u"x"_s), code(ModemResult::FateUnknown));
        QCOMPARE(bench.control.send(numberText(), u"y"_s), qint16{0});
        QCOMPARE(modem.count("AT+CNMI"), 1); // brought up again before the second one
    }

    void silentRestartInTextModeSendsNoText()
    {
        TestModem modem;
        ModemBench bench;
        bench.open(modem);
        QCOMPARE(bench.control.send(numberText(), u"x"_s), qint16{0});
        modem.forgetCommands();
        // Within the same pass: it echoes again.
        modem.answer("AT+CMGS", {"AT+CMGS=14\r\r\n> ", "\r\n> "});
        QCOMPARE(bench.control.send(numberText(), u"x"_s), qint16{0});
        QCOMPARE(modem.tpdus().size(), 2);
        const QByteArrayList commands = modem.commands();
        QVERIFY(commands.lastIndexOf("AT+CMGF=0") > commands.indexOf("AT+CMGS=14"));
    }

    void silentPromptLetsOthersGo()
    {
        TestModem modem;
        ModemBench bench;
        bench.open(modem);
        modem.answer("AT+CMGS", {"", "*"});
        QCOMPARE(faultOf(bench.control, numberText(), u"x"_s), ModemFault::Kind::NoAnswer);
        QVERIFY(bench.control.isPortOpen());
        QCOMPARE(modem.tpdus().size(), 0);
        QCOMPARE(bench.notices.size(), 0);
        // Within the same pass, and without an echo that would tell: it may have started anew meanwhile.
        modem.forgetCommands();
        QCOMPARE(bench.control.send(numberText(), u"x"_s), qint16{0});
        QCOMPARE(modem.commands(), (QByteArrayList{"AT+CMGF=0", "AT+CMGS=14"}));
    }

    void slowPromptIsAskedForAgainInPduMode()
    {
        TestModem modem;
        ModemLimits limits = shortLimits();
        limits.slowPrompt = std::chrono::milliseconds(0);
        ModemBench bench(limits);
        bench.open(modem);
        modem.forgetCommands();
        QCOMPARE(bench.control.send(numberText(), u"x"_s), qint16{0});
        QCOMPARE(modem.commands(),
                 (QByteArrayList{"AT+CMGF=0", "AT+CMGS=14", "AT", "AT+CMEE?", "AT+CMGF=0", "AT+CMGS=14"}));
        QCOMPARE(modem.tpdus().size(), 1);
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
        const QByteArray noNetwork = "\r\n+CMS ERROR: 310\r\n";
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
