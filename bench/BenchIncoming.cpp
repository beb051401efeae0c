// bench-incoming: messages that wait in the modem's store at open, taken by the server's own road, beside a
// bare loop of read, insert, commit and delete over the same simulated modem and database, in one run.
// bench-incoming [MESSAGES], 1,000 as a rule.

#include "bench/BareLine.h"
#include "bench/Measure.h"
#include "incoming/InboundMessageHandler.h"
#include "tests/support/Office.h"
#include "tests/support/SimulatorProcess.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QTimer>
#include <algorithm>
#include <array>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace
{

constexpr int rounds = 3;
constexpr int waitLimitMilliseconds = 300000;

double secondsSince(const QElapsedTimer &timer)
{
    return static_cast<double>(timer.nsecsElapsed()) / 1e9;
}

SimulatorProcess &fill(SimulatorProcess &simulator, int messages)
{
    for (int i = 0; i < messages; ++i)
        simulator.command(u"deliver +86138%1 第%2条短信"_s.arg(i, 8, 10, QChar(u'0')).arg(i));
    return simulator;
}

/// A modem that takes so long for each answer.
QStringList optionsOf(int messages, int latency)
{
    return {u"--do"_s, u"storage-size %1"_s.arg(messages), u"--do"_s, u"command-latency %1"_s.arg(latency)};
}

/// comesSingly: each message comes when the one before is done with.
double bareSeconds(Office &office, int messages, int readings = 1, int latency = 0, bool comesSingly = false)
{
    SimulatorProcess simulator(optionsOf(messages, latency));
    if (!comesSingly)
        fill(simulator, messages);
    auto database = QSqlDatabase::database();
    database.setDatabaseName(office.databaseFile());
    if (!database.open())
        throw Fault(database.lastError().text());
    QSqlQuery insert(database);
    insert.prepare(u"insert into SMS_SIMReceive (FromMB, JieSHouDT, MsgContent) values (?, ?, ?)"_s);
    BareLine line(simulator.devicePath());
    QElapsedTimer timer;
    timer.start();
    line.exchange("AT+CPMS=\"SM\",\"SM\",\"SM\"\r");
    line.exchange("AT+CNMI=2,1,0,0,0\r");
    for (int i = 1; i <= messages; ++i) {
        const QByteArray index = QByteArray::number(comesSingly ? 1 : i);
        if (comesSingly) {
            simulator.command(u"deliver +8613800138000 第%1条短信"_s.arg(i));
            line.exchange({}, "SM\",1\r\n");
        }
        QByteArray answer;
        for (int reading = 0; reading < readings; ++reading)
            answer = line.exchange("AT+CMGR=" + index + '\r');
        insert.addBindValue(u"+8613800000000"_s);
        insert.addBindValue(u"2006-03-05 07:08:09"_s);
        insert.addBindValue(QString::fromLatin1(answer.split('\n').value(2)));
        if (!insert.exec())
            throw Fault(insert.lastError().text());
        line.exchange("AT+CMGD=" + index + '\r');
    }
    return secondsSince(timer);
}

double serverSeconds(Office &office, int messages, double &exchangesPerMessage, int latency = 0,
                     bool comesSingly = false)
{
    SimulatorProcess simulator(optionsOf(messages, latency));
    if (!comesSingly)
        fill(simulator, messages);
    const SystemClock clock;
    ModemControl modem(clock, [&](int) { return simulator.devicePath(); });
    InboundMessageHandler handler(office.session, office.console, office.faults, office.guard, clock, modem);
    qsizetype exchanges = 0;
    modem.setTrace([&](TraceDirection direction, QByteArrayView octets) {
        if (direction == TraceDirection::Sent)
            exchanges += std::count(octets.cbegin(), octets.cend(), '\r');
    });
    int handled = 0;
    QEventLoop loop;
    QObject::connect(&modem, &ModemControl::messageArrived, [&] {
        handler.messageArrived();
        if (++handled == messages || comesSingly)
            loop.quit();
    });
    QTimer::singleShot(waitLimitMilliseconds, &loop, &QEventLoop::quit);
    modem.setPortNumber(1);
    modem.setServiceCentre(u"+8613800100500"_s);
    QElapsedTimer timer;
    timer.start();
    if (modem.open() != 0)
        throw Fault(u"the modem does not open"_s);
    if (latency > 0)
        timer.restart(); // the bring-up is no matter of messages
    if (comesSingly) {
        QTimer::singleShot(1000, &loop, &QEventLoop::quit); // the first reading of the store
        loop.exec();
        timer.restart();
    }
    exchanges = 0;
    for (int i = 0; i < (comesSingly ? messages : 1); ++i) {
        if (comesSingly)
            simulator.command(u"deliver +86138%1 第%2条短信"_s.arg(i, 8, 10, QChar(u'0')).arg(i));
        loop.exec();
    }
    if (handled < messages)
        throw Fault(u"%1 of %2 messages arrived"_s.arg(handled).arg(messages));
    const double seconds = secondsSince(timer);
    exchangesPerMessage = static_cast<double>(exchanges) / messages;
    if (!simulator.isEmpty())
        throw Fault(u"the store is not empty: "_s + simulator.command(u"status"_s));
    return seconds;
}

/// A modem at 20 ms an answer: a SIM of 30 places that is full, and messages that come one by one.
void measureSlow(Office &office)
{
    constexpr int places = 30;
    constexpr int latency = 20;
    std::array<std::vector<double>, 4> seconds;
    std::array<double, 2> exchanges{};
    for (int round = 0; round < rounds; ++round) {
        seconds[0].push_back(bareSeconds(office, places, 2, latency));
        seconds[1].push_back(serverSeconds(office, places, exchanges[0], latency));
        seconds[2].push_back(bareSeconds(office, places, 2, latency, true));
        seconds[3].push_back(serverSeconds(office, places, exchanges[1], latency, true));
    }
    const std::array<const char *, 2> names{"full SIM of 30 places", "messages one by one"};
    for (size_t i = 0; i < names.size(); ++i)
        std::printf(
            "%s at 20 ms: server %.1f/s, bare loop that reads twice %.1f/s: ratio %.2f (at least 0.8),"
            " %.2f exchanges a message\n",
            names.at(i), places / median(seconds.at(i * 2 + 1)), places / median(seconds.at(i * 2)),
            median(seconds.at(i * 2)) / median(seconds.at(i * 2 + 1)), exchanges.at(i));
}

void measure(int messages)
{
    Office office;
    office.makeDurable();
    QSqlDatabase::addDatabase(u"QSQLITE"_s);
    std::vector<double> bare;
    std::vector<double> server;
    double exchangesPerMessage = 0;
    for (int round = 0; round < rounds; ++round) {
        bare.push_back(bareSeconds(office, messages));
        server.push_back(serverSeconds(office, messages, exchangesPerMessage));
        const QStringList stored = office.rows(u"select count(*), count(distinct FromMB) from SMS_SIMReceive"
                                               " where MsgContent like '第%条短信'"_s);
        if (stored != QStringList(u"%1|%2"_s.arg((round + 1) * messages).arg(messages)))
            throw Fault(u"stored: "_s + stored.join(u' '));
    }
    std::printf("%d stored messages: server %.0f/s, bare loop %.0f/s: ratio %.2f (at least 0.5)\n", messages,
                messages / median(server), messages / median(bare), median(bare) / median(server));
    std::printf("AT exchanges per message: %.3f (at most 3, and the listing)\n", exchangesPerMessage);
    measureSlow(office);
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    try {
        measure(argc > 1 ? std::atoi(argv[1]) : 1000);
        return 0;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "bench-incoming: %s\n", error.what());
        return 1;
    }
}
