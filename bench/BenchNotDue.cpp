// bench-not-due: what a tick costs of 100,000 rows of which none may go: messages scheduled for later, and a queue that
// rests at a limit. Processor time and memory of this process, which has SQLite within it.
// bench-not-due [ROWS]

#include "bench/Measure.h"
#include "foundation/Settings.h"
#include "tests/support/Office.h"
#include "tests/support/SimulatorProcess.h"

#include <QCoreApplication>
#include <QFile>
#include <cstdio>
#include <ctime>

using namespace Qt::StringLiterals;

namespace
{

constexpr int rounds = 11;
constexpr double maximumMilliseconds = 20;
constexpr double maximumMegabytes = 1;

double processorMilliseconds()
{
    timespec time{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return double(time.tv_sec) * 1e3 + double(time.tv_nsec) / 1e6;
}

/// The most that was resident since the last call.
double peakMegabytes()
{
    QFile status(u"/proc/self/status"_s);
    if (!status.open(QIODevice::ReadOnly))
        qFatal("no /proc");
    const QByteArray all = status.readAll();
    const double kilobytes = all.mid(all.indexOf("VmHWM:") + 6, 20).trimmed().split(' ').first().toDouble();
    QFile reset(u"/proc/self/clear_refs"_s);
    if (!reset.open(QIODevice::WriteOnly) || reset.write("5") != 1)
        qFatal("the peak cannot be set back");
    return kilobytes / 1024;
}

void insert(Office &office, const QString &into, const QString &select, int rows)
{
    office.oa(into +
              u" with recursive n(i) as (select 1 union all select i+1 from n where i<%1) "_s.arg(rows) +
              select);
}

bool measure(const QString &what, const std::function<void()> &tick)
{
    tick(); // the first one may look closer
    static_cast<void>(peakMegabytes());
    const double before = peakMegabytes();
    std::vector<double> milliseconds;
    for (int round = 0; round < rounds; ++round) {
        const double begun = processorMilliseconds();
        tick();
        milliseconds.push_back(processorMilliseconds() - begun);
    }
    const double megabytes = peakMegabytes() - before;
    const double middle = median(milliseconds);
    const bool isFast = report(what + u", processor of a tick"_s, middle, u"ms"_s,
                               middle <= maximumMilliseconds, u"at most 20"_s);
    return report(what + u", memory of a tick"_s, megabytes, u"MB"_s, megabytes <= maximumMegabytes,
                  u"at most 1"_s) &&
           isFast;
}

bool benchFuture(DatabaseRoute route, const QString &name, int rows)
{
    Office office(route);
    if (office.isMariaDb())
        office.oa(u"set max_recursive_iterations=1000000"_s);
    insert(office, u"insert into SMS_WaitToSend (ToSendDT, ToUserList, MsgContent)"_s,
           u"select '2027-03-05 07:08:09', 'u1;u2', 'a message of a few words' from n"_s, rows);
    return measure(name + u": messages for later"_s, [&] { office.passes().expand(); });
}

bool benchResting(int rows)
{
    Office office;
    static_cast<void>(office.simulator());
    office.registry.write(Settings::pathOf(u"SendPerHour"_s), u"1"_s);
    insert(office, u"insert into SMS_Queues (SOAID, ToMB, MsgContent, MsgStatus)"_s,
           u"select 7, '13800000001', 'a message of a few words', '0' from n"_s, rows);
    return measure(u"SQLite: queue at its limit"_s, [&] {
        office.passes().send();
        QCoreApplication::processEvents(); // a pass that has sent what it may ends there
    });
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const int rows = arguments.size() > 1 ? arguments[1].toInt() : 100'000;
    try {
        bool holds = benchFuture(DatabaseRoute::Sqlite, u"SQLite"_s, rows);
        holds = benchFuture(DatabaseRoute::PostgreSql, u"PostgreSQL"_s, rows) && holds;
        holds = benchFuture(DatabaseRoute::MariaDb, u"MariaDB"_s, rows) && holds;
        return benchResting(rows) && holds ? 0 : 1;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "bench-not-due: %s\n", error.what());
        return 1;
    }
}
