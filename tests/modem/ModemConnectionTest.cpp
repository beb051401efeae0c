#include "tests/modem/Deliver.h"
#include "tests/modem/ModemBench.h"
#include "tests/modem/TestModem.h"

#include <QTest>

using namespace Qt::StringLiterals;

/// The way from a silent device to a modem that is ready, and back to it after it was lost.
class ModemConnectionTest : public QObject
{
    Q_OBJECT

private slots:
    void opens_data()
    {
        QTest::addColumn<QByteArray>("command");
        QTest::addColumn<QByteArrayList>("answers");
        QTest::addColumn<qint16>("result");
        QTest::addColumn<int>("notices");
        const auto row = [](const char *name, const char *command, const QByteArrayList &answers,
                            ModemResult result, int notices) {
            QTest::newRow(name) << QByteArray(command) << answers << code(result) << notices;
        };
        const QByteArray error = "\r\nERROR\r\n";
        row("well-behaved", "none", {""}, ModemResult::Ok, 0);
        row("ignores-echo-off", "ATE0", {"ATE0\r\r\nERROR\r\n"}, ModemResult::Ok, 0);
        row("knows-no-cmee", "AT+CMEE", {error}, ModemResult::Ok, 0);
        row("says-ok-to-the-cmee-question", "AT+CMEE?", {"\r\nOK\r\n"}, ModemResult::Ok, 0);
        row("knows-no-cpin", "AT+CPIN?", {error}, ModemResult::Ok, 0);
        row("knows-no-cpms", "AT+CPMS", {error}, ModemResult::Ok, 0);
        row("knows-no-cnmi", "AT+CNMI", {error}, ModemResult::Ok, 0);
        row("sim-busy-then-ready", "AT+CPIN?", {"\r\n+CME ERROR: 14\r\n", "\r\n+CPIN: READY\r\n\r\nOK\r\n"},
            ModemResult::Ok, 0);
        row("sim-busy-for-ever", "AT+CPIN?", {"\r\n+CME ERROR: SIM busy\r\n"}, ModemResult::SimFailure, 1);
        row("sim-pin", "AT+CPIN?", {"\r\n+CPIN: SIM PIN\r\n\r\nOK\r\n"}, ModemResult::SimLocked, 1);
        row("sim-puk-error", "AT+CPIN?", {"\r\n+CME ERROR: 12\r\n"}, ModemResult::SimLocked, 1);
        row("no-sim", "AT+CPIN?", {"\r\n+CME ERROR: 10\r\n"}, ModemResult::SimMissing, 1);
        row("text-mode-only", "AT+CMGF=0", {error}, ModemResult::PduModeRefused, 1);
        row("centre-refused-sim-has-none", "AT+CSCA",
            {"\r\n+CMS ERROR: 304\r\n", "\r\n+CMS ERROR: 304\r\n", "\r\n+CSCA: \"\",129\r\n\r\nOK\r\n"},
            ModemResult::ServiceCentreRefused, 1);
        row("sim-ready-without-ok", "AT+CPIN?", {"\r\n+CPIN: READY\r\n"}, ModemResult::Ok, 0);
        row("late-refusal-of-another-command", "AT+CMGF=0", {"\r\n+CMS ERROR: 500\r\n", "\r\nOK\r\n"},
            ModemResult::Ok, 0);
        row("please-wait", "AT+CSCA", {"\r\n+CME ERROR: 515\r\n", "\r\nOK\r\n"}, ModemResult::Ok, 0);
        row("ok-before-creg", "AT+CREG?", {"\r\nOK\r\n\r\n+CREG: 0,1\r\n"}, ModemResult::Ok, 0);
        row("searching-network", "AT+CREG?", {"\r\n+CREG: 0,2\r\n\r\nOK\r\n"}, ModemResult::Ok, 1);
        row("roaming-short-form", "AT+CREG?", {"\r\n+CREG: 5\r\n\r\nOK\r\n"}, ModemResult::Ok, 0);
        row("mute", "", {""}, ModemResult::ModemSilent, 1);
    }
    void opens()
    {
        QFETCH(const QByteArray, command);
        QFETCH(const QByteArrayList, answers);
        QFETCH(const qint16, result);
        QFETCH(const int, notices);
        TestModem modem;
        modem.answer(command, answers);
        ModemBench bench;
        bench.plug(modem);
        bench.control.setServiceCentre(u"+8613800100500 "_s);
        QCOMPARE(bench.control.open(), result);
        QCOMPARE(bench.control.isPortOpen(), result == 0);
        QCOMPARE(bench.control.isRegistered(), result == 0 && notices == 0);
        QCOMPARE(bench.notices.size(), notices);
        for (const QByteArray &heard : modem.commands())
            QVERIFY2(!heard.startsWith("AT+CPIN="), "a PIN is never guessed");
        if (result == 0)
            QCOMPARE(bench.control.send(numberText(), u"hi"_s), qint16{0});
        QCOMPARE(bench.control.close(), qint16{0});
        QVERIFY(!bench.control.isPortOpen());
    }

    void centreOfTheSimServes()
    {
        TestModem modem;
        modem.answer("AT+CSCA", {"\r\nERROR\r\n"});
        ModemBench bench;
        bench.plug(modem);
        bench.control.setServiceCentre(u"+8613800100500"_s);
        QCOMPARE(bench.control.open(), qint16{0});
        QCOMPARE(bench.control.open(), qint16{0});
        QCOMPARE(bench.notices.size(), 1); // said once
        QCOMPARE(bench.control.send(numberText(), u"x"_s), qint16{0});
    }

    void memoriesAsTheModemTakesThem_data()
    {
        QTest::addColumn<int>("size");
        QTest::newRow("three") << 3;
        QTest::newRow("two") << 2;
        QTest::newRow("one") << 1;
    }
    void memoriesAsTheModemTakesThem()
    {
        QFETCH(const int, size);
        TestModem modem;
        const auto form = [](int count, const QByteArray &memory) {
            return "AT+CPMS=" + QByteArrayList(count, '"' + memory + '"').join(',');
        };
        for (int other = 1; other <= 3; ++other) {
            for (const auto *memory : {"SM", "ME", "MT"})
                modem.answer(form(other, memory) + '$',
                             {other == size ? "\r\n+CPMS: 0,9\r\n\r\nOK\r\n" : "\r\n+CMS ERROR: 302\r\n"});
        }
        modem.answer("AT+CPMS=?", {R"(+CPMS: ("SM","ME","MT"),("SM"),("SM"))"
                                   "\r\nOK\r\n"});
        ModemBench bench;
        bench.open(modem);
        QTRY_COMPARE(modem.count("AT+CMGL"), 2);
        QVERIFY(modem.commands().contains(form(size, "ME")));
        QCOMPARE(modem.count(form(size, "MT")), 0);
        modem.forgetCommands();
        modem.store(1, Deliver{.text = u"a"_s}.hex());
        modem.say("\r\n+CMTI: \"MT\",1\r\n");
        QTRY_VERIFY(modem.storedIndices().isEmpty());
        QTRY_COMPARE(bench.texts(), QStringList{u"a"_s});
        QCOMPARE(modem.count(form(3, "SM")), size == 3 ? modem.count("AT+CPMS=\"SM\"") : 0);
    }

    void findsTheLineSpeed_data()
    {
        QTest::addColumn<int>("set");
        QTest::addColumn<int>("spoken");
        QTest::addColumn<bool>("opens");
        QTest::newRow("searched") << 0 << 9600 << true;
        QTest::newRow("set") << 38400 << 38400 << true;
        QTest::newRow("set-wrong") << 38400 << 9600 << false;
    }
    void findsTheLineSpeed()
    {
        QFETCH(const int, set);
        QFETCH(const int, spoken);
        QFETCH(const bool, opens);
        TestModem modem;
        modem.speakOnlyAt(spoken);
        ModemLimits limits = shortLimits();
        limits.sync = std::chrono::seconds(6);
        ModemBench bench(limits);
        bench.plug(modem);
        bench.control.setSpeed(set);
        QCOMPARE(bench.control.open() == 0, opens);
        QCOMPARE(bench.control.describe().baud, opens ? spoken : 0);
    }

    void openFindsNoDevice()
    {
        ModemBench bench;
        QCOMPARE(bench.control.open(), code(ModemResult::NoSuchPort));
        bench.control.setServiceCentre(u"138;AT"_s);
        QCOMPARE(bench.control.open(), code(ModemResult::ServiceCentreInvalid));
        QCOMPARE(bench.notices.size(), 2);
        QCOMPARE(faultOf(bench.control, numberText(), u"hi"_s), ModemFault::Kind::PortLost);
    }

    void openWakesSleeper()
    {
        TestModem modem;
        modem.answer("AT", {"", "\0\0\r\nOK\r\n", "\r\nOK\r\n+CMEE: 1\r\nOK\r\n", "\r\nOK\r\n"});
        ModemBench bench;
        bench.open(modem);
    }

    void openLeavesPrompt()
    {
        TestModem modem;
        ModemBench bench;
        bench.plug(modem);
        // A program died between prompt and TPDU: the modem waits for text.
        {
            QFile line(modem.device());
            QVERIFY(line.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
            line.write("AT+CMGS=20\r");
            QTRY_COMPARE(modem.count("AT+CMGS"), 1);
        }
        QCOMPARE(bench.control.open(), qint16{0});
        QCOMPARE(modem.tpdus().size(), 0);
    }

    void openToldCentre()
    {
        TestModem modem;
        ModemBench bench;
        bench.plug(modem);
        bench.control.setServiceCentre(u" 13800100500 "_s);
        QCOMPARE(bench.control.open(), qint16{0});
        QCOMPARE(modem.count("AT+CSCA=\"13800100500\",129"), 1);
        bench.control.setServiceCentre(u"+8613800100500"_s);
        QCOMPARE(bench.control.open(), qint16{0});
        QCOMPARE(modem.count("AT+CSCA=\"+8613800100500\",145"), 1);
    }

    void silentModemIsLost()
    {
        TestModem modem;
        ModemBench bench;
        bench.open(modem);
        modem.answer("AT", {""});
        QCOMPARE(faultOf(bench.control, numberText(), u"x"_s), ModemFault::Kind::PortLost);
        QVERIFY(!bench.control.isPortOpen());
        QCOMPARE(faultOf(bench.control, numberText(), u"x"_s), ModemFault::Kind::PortLost);
        QCOMPARE(bench.notices.size(), 1);
    }

    void comesBackUnderTheSameLink()
    {
        TestModem modem;
        TestModem replacement;
        replacement.store(1, Deliver{.text = u"meanwhile"_s}.hex());
        ModemBench bench;
        bench.open(modem);
        modem.hangUp();
        QTRY_VERIFY(!bench.control.isPortOpen());
        QCOMPARE(bench.notices.size(), 1);
        bench.plug(replacement);
        QTRY_VERIFY(bench.control.isPortOpen());
        QCOMPARE(bench.notices.size(), 2);
        QTRY_COMPARE(bench.texts(), QStringList{u"meanwhile"_s});
        QCOMPARE(bench.control.close(), qint16{0});
        QCOMPARE(bench.notices.size(), 2);
    }

    void restartedModemIsBroughtUp()
    {
        TestModem modem;
        ModemBench bench;
        bench.open(modem);
        modem.forgetCommands();
        modem.say("\r\nRDY\r\n\r\n+CFUN: 1\r\n");
        QCOMPARE(bench.control.send(numberText(), u"x"_s), qint16{0});
        QVERIFY2(modem.count("AT+CMGF=0") >= 1, "a restarted modem is in text mode");
    }
};

QTEST_GUILESS_MAIN(ModemConnectionTest)
#include "ModemConnectionTest.moc"
