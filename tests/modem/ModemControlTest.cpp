#include "platform/modem/ModemControl.h"

#include "tests/modem/Deliver.h"
#include "tests/modem/TestModem.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace
{

ModemLimits shortLimits()
{
    ModemLimits limits;
    // Only silence is waited out, so that a busy machine fails no test.
    limits.syncAttempt = 500ms;
    limits.sync = 2s;
    limits.resync = 2s;
    limits.reopenSync = 1s;
    limits.command = 2s;
    limits.prompt = 500ms;
    limits.sendResult = 700ms;
    limits.simBusy = 500ms;
    limits.simRetry = 20ms;
    limits.storePoll = 60s;
    limits.reopen = 50ms;
    limits.waitRetry = 30ms;
    return limits;
}

struct Received {
    qint16 result = -1;
    QString sender;
    QString text;
    QString time;
    bool operator==(const Received &) const = default;
};

/// A control on a device path that modems come to and leave, with everything it says and raises.
class Bench
{
public:
    explicit Bench(const ModemLimits &limits = shortLimits())
        : control(
              clock, [this](int) { return path(); }, nullptr, limits)
    {
        QObject::connect(&control, &ModemControl::notice,
                         [this](const QString &text) { notices.append(text); });
        QObject::connect(&control, &ModemControl::messageArrived, [this] {
            Received message;
            message.result = control.read(message.sender, message.text, message.time);
            received.append(message);
            if (const auto fate = fates.isEmpty() ? otherwise : fates.takeFirst())
                control.settle(*fate);
        });
        control.setPortNumber(3);
    }

    [[nodiscard]] QString path() const { return directory.filePath(u"modem"_s); }
    void plug(const PtyPeer &modem)
    {
        QFile::remove(path());
        QVERIFY(QFile::link(modem.device(), path()));
    }
    [[nodiscard]] QStringList texts() const
    {
        QStringList texts;
        for (const Received &message : received)
            texts.append(message.text);
        return texts;
    }

    QTemporaryDir directory;
    ManualClock clock{QDateTime(QDate(2026, 11, 21), QTime(8, 0))};
    ModemControl control;
    QStringList notices;
    QList<Received> received;
    QList<std::optional<MessageFate>> fates; ///< of the next messages
    std::optional<MessageFate> otherwise = MessageFate::Handled;
};

qint16 code(ModemResult result)
{
    return static_cast<qint16>(result);
}

/// The kind of fault that sending raises; nullopt and the result in result when none.
std::optional<ModemFault::Kind> faultOf(ModemControl &control, const QString &number, const QString &text,
                                        qint16 *result = nullptr)
{
    try {
        const qint16 got = control.send(number, text);
        if (result != nullptr)
            *result = got;
        return std::nullopt;
    } catch (const ModemFault &fault) {
        return fault.kind();
    }
}

constexpr auto number = "13800138000";
QString numberText()
{
    return QString::fromLatin1(number);
}

} // namespace

class ModemControlTest : public QObject
{
    Q_OBJECT

private slots:
    void opens_data();
    void opens();
    void openFindsNoDevice();
    void openWakesSleeper();
    void openLeavesPrompt();
    void openToldCentre();
    void sends();
    void refusesBeforeLine_data();
    void refusesBeforeLine();
    void sendResults_data();
    void sendResults();
    void lateResultIsNobodyElses_data();
    void lateResultIsNobodyElses();
    void silentPromptLetsOthersGo();
    void silentModemIsLost();
    void unpluggedAtTpdu();
    void partAfterPart_data();
    void partAfterPart();
    void comesBackUnderTheSameLink();
    void restartedModemIsBroughtUp();
    void receivesAtOpenInOrder();
    void receivesOnNotificationDuringSend();
    void fates();
    void waitKeepsOrder();
    void refusedLetsOthersGo();
    void failedRemovalHandlesOnce();
    void directMessages();
    void leavesDraftsAlone();
    void unreadableIsSetAside();
    void fullStoreGivesOldestIncomplete();
    void listsOneByOne();
    void twoExchangesForMessage();
    void closeInHandler();
    void countryCode();
};

void ModemControlTest::opens_data()
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
    row("centre-refused", "AT+CSCA", {"\r\n+CMS ERROR: 304\r\n"}, ModemResult::ServiceCentreRefused, 1);
    row("searching-network", "AT+CREG?", {"\r\n+CREG: 0,2\r\n\r\nOK\r\n"}, ModemResult::Ok, 1);
    row("roaming-short-form", "AT+CREG?", {"\r\n+CREG: 5\r\n\r\nOK\r\n"}, ModemResult::Ok, 0);
    row("mute", "", {""}, ModemResult::ModemSilent, 1);
}

void ModemControlTest::opens()
{
    QFETCH(const QByteArray, command);
    QFETCH(const QByteArrayList, answers);
    QFETCH(const qint16, result);
    QFETCH(const int, notices);
    TestModem modem;
    modem.answer(command, answers);
    Bench bench;
    bench.plug(modem);
    bench.control.setServiceCentre(u"+8613800100500 "_s);
    QCOMPARE(bench.control.open(), result);
    QCOMPARE(bench.control.isPortOpen(), result == 0);
    QCOMPARE(bench.notices.size(), notices);
    for (const QByteArray &heard : modem.commands())
        QVERIFY2(!heard.startsWith("AT+CPIN="), "a PIN is never guessed");
    if (result == 0)
        QCOMPARE(bench.control.send(numberText(), u"hi"_s), qint16{0});
    QCOMPARE(bench.control.close(), qint16{0});
    QVERIFY(!bench.control.isPortOpen());
}

void ModemControlTest::openFindsNoDevice()
{
    Bench bench;
    QCOMPARE(bench.control.open(), code(ModemResult::NoSuchPort));
    bench.control.setServiceCentre(u"138;AT"_s);
    QCOMPARE(bench.control.open(), code(ModemResult::ServiceCentreInvalid));
    QCOMPARE(bench.notices.size(), 2);
    QCOMPARE(faultOf(bench.control, numberText(), u"hi"_s), ModemFault::Kind::PortLost);
}

void ModemControlTest::openWakesSleeper()
{
    TestModem modem;
    modem.answer("AT", {"", "\0\0\r\nOK\r\n", "\r\nOK\r\n+CMEE: 1\r\nOK\r\n", "\r\nOK\r\n"});
    Bench bench;
    bench.plug(modem);
    QCOMPARE(bench.control.open(), qint16{0});
}

void ModemControlTest::openLeavesPrompt()
{
    TestModem modem;
    Bench bench;
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

void ModemControlTest::openToldCentre()
{
    TestModem modem;
    Bench bench;
    bench.plug(modem);
    bench.control.setServiceCentre(u" 13800100500 "_s);
    QCOMPARE(bench.control.open(), qint16{0});
    QCOMPARE(modem.count("AT+CSCA=\"13800100500\",129"), 1);
    bench.control.setServiceCentre(u"+8613800100500"_s);
    QCOMPARE(bench.control.open(), qint16{0});
    QCOMPARE(modem.count("AT+CSCA=\"+8613800100500\",145"), 1);
}

void ModemControlTest::sends()
{
    TestModem modem;
    Bench bench;
    bench.plug(modem);
    QCOMPARE(bench.control.open(), qint16{0});
    modem.forgetCommands();
    QCOMPARE(bench.control.send(u" +8613800138000\t"_s, u"hellohello"_s), qint16{0});
    QCOMPARE(bench.control.send(numberText(), u"中文"_s), qint16{0});
    QCOMPARE(modem.commands(), (QByteArrayList{"AT+CMGS=23", "AT+CMGS=17"}));
    QCOMPARE(modem.tpdus(), (QByteArrayList{"0001000D91683108108300F000000AE8329BFD4697D9EC37",
                                            "0001000B813108108300F00008044E2D6587"}));
}

void ModemControlTest::refusesBeforeLine_data()
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

void ModemControlTest::refusesBeforeLine()
{
    QFETCH(const QString, to);
    QFETCH(const QString, text);
    QFETCH(const qint16, result);
    TestModem modem;
    Bench bench;
    bench.plug(modem);
    QCOMPARE(bench.control.open(), qint16{0});
    modem.forgetCommands();
    QCOMPARE(bench.control.send(to, text), result);
    QCOMPARE(modem.commands().size(), result == 0 ? 1 : 0);
}

void ModemControlTest::sendResults_data()
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
    row("accepted-after-urc", "", "\r\n+CREG: 1\r\n+CMGS: 1\r\n+CMTI: \"SM\",1\r\nOK\r\n", ModemResult::Ok);
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

void ModemControlTest::sendResults()
{
    QFETCH(const QByteArray, toCommand);
    QFETCH(const QByteArray, toTpdu);
    QFETCH(const int, result);
    TestModem modem;
    Bench bench;
    bench.plug(modem);
    QCOMPARE(bench.control.open(), qint16{0});
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

void ModemControlTest::lateResultIsNobodyElses_data()
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

void ModemControlTest::lateResultIsNobodyElses()
{
    QFETCH(const QByteArrayList, toAt);
    QFETCH(const QByteArrayList, toCmgs);
    TestModem modem;
    Bench bench;
    bench.plug(modem);
    QCOMPARE(bench.control.open(), qint16{0});
    modem.answerTpdus({"", "\r\n+CMS ERROR: 500\r\n"});
    modem.answer("AT$", toAt);
    modem.answer("AT+CMGS", toCmgs);
    QCOMPARE(bench.control.send(numberText(), u"one"_s), code(ModemResult::FateUnknown));
    QCOMPARE(bench.control.send(numberText(), u"two"_s), code(ModemResult::Refused));
    QCOMPARE(bench.control.send(numberText(), u"three"_s), qint16{0});
    QCOMPARE(modem.tpdus().size(), 3);
}

void ModemControlTest::silentPromptLetsOthersGo()
{
    TestModem modem;
    Bench bench;
    bench.plug(modem);
    QCOMPARE(bench.control.open(), qint16{0});
    modem.answer("AT+CMGS", {""});
    QCOMPARE(faultOf(bench.control, numberText(), u"x"_s), ModemFault::Kind::NoAnswer);
    QVERIFY(bench.control.isPortOpen());
    QCOMPARE(modem.tpdus().size(), 0);
    QCOMPARE(bench.notices.size(), 0);
}

void ModemControlTest::silentModemIsLost()
{
    TestModem modem;
    Bench bench;
    bench.plug(modem);
    QCOMPARE(bench.control.open(), qint16{0});
    modem.answer("AT", {""});
    QCOMPARE(faultOf(bench.control, numberText(), u"x"_s), ModemFault::Kind::PortLost);
    QVERIFY(!bench.control.isPortOpen());
    QCOMPARE(faultOf(bench.control, numberText(), u"x"_s), ModemFault::Kind::PortLost);
    QCOMPARE(bench.notices.size(), 1);
}

void ModemControlTest::unpluggedAtTpdu()
{
    TestModem modem;
    TestModem replacement;
    Bench bench;
    bench.plug(modem);
    QCOMPARE(bench.control.open(), qint16{0});
    modem.hangUp();
    QCOMPARE(faultOf(bench.control, numberText(), u"x"_s), ModemFault::Kind::PortLost);
    QVERIFY(!bench.control.isPortOpen());
    bench.plug(replacement);
    QCOMPARE(bench.control.send(numberText(), u"x"_s), qint16{0});
    QVERIFY(bench.control.isPortOpen());
    QCOMPARE(bench.notices.size(), 2);
}

void ModemControlTest::partAfterPart_data()
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

void ModemControlTest::partAfterPart()
{
    QFETCH(const QByteArrayList, answers);
    QFETCH(const int, result);
    QFETCH(const int, tpdus);
    TestModem modem;
    Bench bench;
    bench.plug(modem);
    QCOMPARE(bench.control.open(), qint16{0});
    modem.answerTpdus(answers);
    qint16 got = 0;
    const bool isFault = faultOf(bench.control, numberText(), QString(150, u'汉'), &got).has_value();
    QCOMPARE(isFault ? -1 : got, result);
    QCOMPARE(modem.tpdus().size(), tpdus);
}

void ModemControlTest::comesBackUnderTheSameLink()
{
    TestModem modem;
    TestModem replacement;
    replacement.store(1, Deliver{.text = u"meanwhile"_s}.hex());
    Bench bench;
    bench.plug(modem);
    QCOMPARE(bench.control.open(), qint16{0});
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

void ModemControlTest::restartedModemIsBroughtUp()
{
    TestModem modem;
    Bench bench;
    bench.plug(modem);
    QCOMPARE(bench.control.open(), qint16{0});
    modem.forgetCommands();
    modem.say("\r\nRDY\r\n\r\n+CFUN: 1\r\n");
    QCOMPARE(bench.control.send(numberText(), u"x"_s), qint16{0});
    QVERIFY2(modem.count("AT+CMGF=0") >= 1, "a restarted modem is in text mode");
}

void ModemControlTest::receivesAtOpenInOrder()
{
    TestModem modem;
    modem.store(0, Deliver{.text = u"third"_s, .scts = "62110291030023"}.hex());
    modem.store(2, Deliver{.text = u"first"_s, .scts = "62110281030023"}.hex(), 1);
    modem.store(1, Deliver{.text = u"fourth"_s, .scts = "62110291030023"}.hex());
    modem.store(3, Deliver{.text = u"second"_s, .scts = "62110281030023"}.hex());
    Bench bench;
    bench.plug(modem);
    QCOMPARE(bench.control.open(), qint16{0});
    QVERIFY2(bench.received.isEmpty(), "raised inside open()");
    QTRY_COMPARE(bench.texts(), (QStringList{u"first"_s, u"second"_s, u"third"_s, u"fourth"_s}));
    QTRY_VERIFY(modem.storedIndices().isEmpty());
    const Received expected{0, u"+8613800138000"_s, u"first"_s,
                            QDateTime(QDate(2026, 11, 20), QTime(10, 30), Qt::UTC)
                                .toLocalTime()
                                .toString(u"yyyy-MM-dd HH:mm:ss"_s)};
    QCOMPARE(bench.received.first().time, expected.time);
    QCOMPARE(bench.received.first().sender, expected.sender);
    QString sender;
    QCOMPARE(bench.control.read(sender, sender, sender), code(ModemResult::NoMessage));
}

void ModemControlTest::receivesOnNotificationDuringSend()
{
    TestModem modem;
    Bench bench;
    bench.plug(modem);
    QCOMPARE(bench.control.open(), qint16{0});
    QTRY_COMPARE(modem.count("AT+CMGL"), 1);
    const int parts = 5;
    const QList<int> order{3, 1, 5, 2, 4};
    for (int i = 0; i < parts; ++i)
        modem.store(i, Deliver{.text = QString(60, QChar(u'一' + order[i])),
                               .udh = Deliver::concatenation(9, parts, order[i])}
                           .hex());
    modem.store(
        7, Deliver{.sender = "8613900139000", .text = u"b"_s, .udh = Deliver::concatenation(9, 2, 2)}.hex());
    modem.store(
        8, Deliver{.sender = "8613900139000", .text = u"a"_s, .udh = Deliver::concatenation(9, 2, 1)}.hex());
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

void ModemControlTest::fates()
{
    TestModem modem;
    modem.store(1, Deliver{.text = u"a"_s}.hex());
    Bench bench;
    bench.otherwise = std::nullopt; // a handler that failed before it could settle
    bench.plug(modem);
    QCOMPARE(bench.control.open(), qint16{0});
    QTRY_VERIFY(bench.received.size() >= 2);
    QCOMPARE(modem.count("AT+CMGD"), 0);
    bench.otherwise = MessageFate::Handled;
    QTRY_VERIFY(modem.storedIndices().isEmpty());
    QCOMPARE(bench.texts().count(u"a"_s), bench.received.size());
}

void ModemControlTest::waitKeepsOrder()
{
    TestModem modem;
    for (int i = 0; i < 10; ++i)
        modem.store(i, Deliver{.text = QString::number(i)}.hex());
    Bench bench;
    bench.fates = {MessageFate::Handled, MessageFate::Wait, MessageFate::Wait};
    bench.plug(modem);
    QCOMPARE(bench.control.open(), qint16{0});
    QTRY_VERIFY(modem.storedIndices().isEmpty());
    QCOMPARE(bench.texts(), (QStringList{u"0"_s, u"1"_s, u"1"_s, u"1"_s, u"2"_s, u"3"_s, u"4"_s, u"5"_s,
                                         u"6"_s, u"7"_s, u"8"_s, u"9"_s}));
}

void ModemControlTest::refusedLetsOthersGo()
{
    TestModem modem;
    for (int i = 0; i < 3; ++i)
        modem.store(i, Deliver{.text = QString::number(i)}.hex());
    Bench bench;
    bench.fates = {MessageFate::Refused};
    bench.plug(modem);
    QCOMPARE(bench.control.open(), qint16{0});
    QTRY_COMPARE(modem.storedIndices(), QList<int>{0});
    bench.clock.advanceSeconds(3599);
    modem.deliver(5, Deliver{.text = u"5"_s}.hex());
    QTRY_COMPARE(bench.texts().last(), u"5"_s);
    QTRY_COMPARE(modem.storedIndices(), QList<int>{0});
    bench.clock.advanceSeconds(1);
    modem.deliver(6, Deliver{.text = u"6"_s}.hex());
    QTRY_VERIFY(modem.storedIndices().isEmpty());
    QCOMPARE(bench.texts(), (QStringList{u"0"_s, u"1"_s, u"2"_s, u"5"_s, u"0"_s, u"6"_s}));
}

void ModemControlTest::failedRemovalHandlesOnce()
{
    TestModem modem;
    modem.store(1, Deliver{.text = u"a"_s}.hex());
    modem.answer("AT+CMGD", {"\r\n+CMS ERROR: 500\r\n"});
    Bench bench;
    bench.plug(modem);
    QCOMPARE(bench.control.open(), qint16{0});
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

void ModemControlTest::directMessages()
{
    TestModem modem;
    modem.answer("AT+CSMS?", {"\r\n+CSMS: 1,1,1,1\r\n\r\nOK\r\n"});
    Bench bench;
    bench.fates = {MessageFate::Wait};
    bench.plug(modem);
    QCOMPARE(bench.control.open(), qint16{0});
    const QByteArray hex = Deliver{.text = u"flash"_s}.hex();
    modem.answerTpdus({"\r\n+CMT: ," + QByteArray::number(hex.size() / 2 - 1) + "\r\n" + hex +
                       "\r\n+CMGS: 4\r\n\r\nOK\r\n"});
    QCOMPARE(bench.control.send(numberText(), u"x"_s), qint16{0});
    QTRY_COMPARE(bench.texts(), (QStringList{u"flash"_s, u"flash"_s}));
    QCOMPARE(modem.count("AT+CNMA"), 1);
    modem.say("\r\n+CDS: 24\r\n0006010B913108108300F06211020191000062110201910000"
              "00\r\n");
    QTRY_COMPARE(modem.count("AT+CNMA"), 2);
    QCOMPARE(bench.received.size(), 2);
}

void ModemControlTest::leavesDraftsAlone()
{
    TestModem modem;
    modem.store(1, "0001000B813108108300F00008044E2D6587", 2);                 // stored, unsent
    modem.store(2, "0001000B813108108300F00008044E2D6587", 3);                 // stored, sent
    modem.store(3, "0006010B913108108300F0621102019100006211020191000000", 1); // status report
    modem.store(4, Deliver{.text = u"a"_s}.hex());
    Bench bench;
    bench.plug(modem);
    QCOMPARE(bench.control.open(), qint16{0});
    QTRY_COMPARE(modem.storedIndices(), (QList<int>{1, 2}));
    QCOMPARE(bench.texts(), QStringList{u"a"_s});
}

void ModemControlTest::unreadableIsSetAside()
{
    TestModem modem;
    modem.store(1, "0004FF91");
    modem.store(2, Deliver{.text = u"a"_s}.hex());
    Bench bench;
    bench.fates = {MessageFate::Handled, std::nullopt};
    bench.plug(modem);
    QCOMPARE(bench.control.open(), qint16{0});
    QTRY_VERIFY(modem.storedIndices().isEmpty());
    QCOMPARE(bench.received.size(), 2);
    QCOMPARE(bench.received.last().result, code(ModemResult::MessageUnreadable));
    QCOMPARE(bench.notices.size(), 1);
    QVERIFY(bench.notices.first().contains(u"0004FF91"_s));
}

void ModemControlTest::fullStoreGivesOldestIncomplete()
{
    TestModem modem;
    modem.setStoreSize(3);
    modem.store(
        0, Deliver{.text = u"old"_s, .scts = "62110281030023", .udh = Deliver::concatenation(1, 2, 1)}.hex());
    modem.store(1, Deliver{.text = u"new"_s, .udh = Deliver::concatenation(2, 3, 1)}.hex());
    Bench bench;
    bench.plug(modem);
    QCOMPARE(bench.control.open(), qint16{0});
    QTRY_COMPARE(modem.count("AT+CMGL"), 1);
    QCOMPARE(bench.received.size(), 0);
    modem.deliver(2, Deliver{.text = u"er"_s, .udh = Deliver::concatenation(2, 3, 2)}.hex());
    QTRY_COMPARE(bench.texts(), QStringList{u"old"_s});
    QTRY_COMPARE(modem.storedIndices(), (QList<int>{1, 2}));
    QCOMPARE(bench.notices.size(), 1);
    QVERIFY(bench.notices.first().contains(u"3"_s));
}

void ModemControlTest::listsOneByOne()
{
    TestModem modem;
    modem.setStoreSize(5);
    modem.answer("AT+CMGL", {"\r\nERROR\r\n"});
    modem.store(0, Deliver{.text = u"a"_s}.hex());
    modem.store(5, Deliver{.text = u"b"_s}.hex());
    Bench bench;
    bench.plug(modem);
    QCOMPARE(bench.control.open(), qint16{0});
    QTRY_VERIFY(modem.storedIndices().isEmpty());
    QCOMPARE(bench.texts(), (QStringList{u"a"_s, u"b"_s}));
}

void ModemControlTest::twoExchangesForMessage()
{
    TestModem modem;
    Bench bench;
    bench.plug(modem);
    QCOMPARE(bench.control.open(), qint16{0});
    QTRY_COMPARE(modem.count("AT+CMGL"), 1);
    modem.forgetCommands();
    modem.deliver(4, Deliver{.text = u"a"_s}.hex());
    QTRY_VERIFY(modem.storedIndices().isEmpty());
    QCOMPARE(modem.commands(), (QByteArrayList{"AT+CMGL=4", "AT+CMGD=4"}));
}

void ModemControlTest::closeInHandler()
{
    TestModem modem;
    modem.store(1, Deliver{.text = u"a"_s}.hex());
    Bench bench;
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

void ModemControlTest::countryCode()
{
    TestModem modem;
    modem.store(1, Deliver{.text = u"a"_s}.hex());
    modem.store(2, Deliver{.sender = "85298765432", .text = u"b"_s}.hex());
    Bench bench;
    bench.control.setSenderCountryCode(u"86"_s);
    bench.plug(modem);
    QCOMPARE(bench.control.open(), qint16{0});
    QTRY_COMPARE(bench.received.size(), 2);
    QCOMPARE(bench.received[0].sender, u"13800138000"_s);
    QCOMPARE(bench.received[1].sender, u"+85298765432"_s);
}

QTEST_GUILESS_MAIN(ModemControlTest)
#include "ModemControlTest.moc"
