// bench-growth: what a tick costs in a young office and in an old one, with 10,000 and with 1,000,000 mails and
// results. In each office half of the users have never been alerted.
// bench-growth [YOUNG OLD]

#include "alerts/NewMailAlerts.h"
#include "bench/Measure.h"
#include "outgoing/ResultArchiver.h"
#include "outgoing/ScheduledMessageExpander.h"
#include "tests/support/Office.h"

#include <QCoreApplication>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace
{

constexpr int userCount = 200;
constexpr int rounds = 25;
constexpr double maximumRatio = 1.5;

/// An office with this many mails and results, and the passes on it.
class GrownOffice : Office
{
public:
    GrownOffice(DatabaseRoute route, int rows) : Office(route)
    {
        fill(rows);
        makeDurable();
    }

    void tick()
    {
        m_expander.pass();
        m_archiver.pass();
        m_alerts.pass();
    }
    /// Seconds of a tick that finds nothing to do.
    double idle()
    {
        return secondsOf([this] { tick(); });
    }
    /// Seconds of a tick that expands, archives and alerts a little.
    double busy()
    {
        for (int i = 0; i < 5; ++i) {
            oa(u"insert into SMS_WaitToSend (ToSendDT, ToUserList, MsgContent) values ('2006-01-01', 'u%1', 'x')"_s
                   .arg(i));
            oa(u"insert into SMS_Queues (SOAID, ToUser, ToMB, MsgContent, MsgStatus, RetryCount)"
               " values (1, 'u%1', '1', 'x', '8', 0)"_s.arg(i));
            oa(u"insert into VO_Email (EmailSource, EmailStatus, EmailTo, EmailFrom, EmailSubject)"
               " values ('1', '1', '*u%1-0-0-0*', 'u1', 'x')"_s.arg(userCount - 1 - i));
        }
        const double seconds = secondsOf([this] { tick(); });
        if (rows(u"select count(*) from SMS_WaitToSend"_s) != QStringList(u"0"_s) ||
            rows(u"select count(*) from SMS_Queues"_s) != QStringList(u"10"_s))
            qFatal("the tick has not done its work");
        oa(u"delete from SMS_Queues"_s);
        return seconds;
    }

private:
    void fill(int rows)
    {
        oa(u"insert into SMS_Order (OrderName, IsOrder, isPulic) values ('NBYJ', '1', '1'),"
           " ('WBYJ', '1', '1')"_s);
        for (int i = 0; i < userCount; ++i) {
            oa(u"insert into VO_UserInfor (UserName, Mobile, AccountState) values ('u%1', '%2', '1')"_s.arg(i)
                   .arg(13800000000 + i));
            if (i >= userCount / 2)
                oa(u"insert into SMS_Alert_MaxOAID (UserName, Source, CurrentMaxOAID) values"
                   " ('u%1', 'NBYJ', %2), ('u%1', 'WBYJ', %2)"_s.arg(i)
                       .arg(rows));
        }
        const QString numbers =
            u" with recursive n(i) as (select 1 union all select i+1 from n where i<%1) "_s.arg(rows);
        const auto insert = [&](const QString &into, const QString &select) { oa(into + numbers + select); };
        insert(u"insert into VO_Email (EmailSource, EmailStatus, EmailTo, EmailFrom, EmailSubject,"
               " EmailContent) "_s,
               u"select case when i % 2=0 then '1' else '2' end, '1', '*u' || (100 + i % 100) || "
               u"'-0-0-0*', 'u1',"
               " 'subject ' || i, 'a body of a few words that no pass has to read' from n"_s.replace("%"_L1,
                                                                                                     "%"_L1));
        insert(u"insert into SMS_ResultDetail (SOAID, ToUser, ToMB, MsgContent, SendOutDT, IsSuccess) "_s,
               u"select i, 'u1', '13800000001', 'a message of a few words', '2006-01-01', '1' from n"_s);
        if (isPostgreSql())
            oa(u"analyze"_s);
    }

    ScheduledMessageExpander m_expander{session, console, faults, clock};
    ResultArchiver m_archiver{session, console, faults, clock};
    NewMailAlerts m_alerts{session, console, faults};
};

bool benchGrowth(DatabaseRoute route, const QString &name, int youngRows, int oldRows)
{
    GrownOffice young(route, youngRows);
    GrownOffice old(route, oldRows);
    report(name + u": first tick of %1 rows"_s.arg(youngRows), young.idle(), u"s"_s, true, u"shown"_s);
    report(name + u": first tick of %1 rows"_s.arg(oldRows), old.idle(), u"s"_s, true, u"shown"_s);
    std::vector<double> youngIdle;
    std::vector<double> oldIdle;
    std::vector<double> youngBusy;
    std::vector<double> oldBusy;
    for (int round = 0; round < rounds; ++round) {
        youngIdle.push_back(young.idle());
        oldIdle.push_back(old.idle());
        youngBusy.push_back(young.busy());
        oldBusy.push_back(old.busy());
    }
    const auto compare = [&](const QString &what, std::vector<double> &ofYoung, std::vector<double> &ofOld) {
        const double ratio = median(ofOld) / median(ofYoung);
        return report(
            name + u": "_s + what, ratio, u"x"_s, ratio <= maximumRatio,
            u"at most 1.5 (%1 ms, old %2 ms)"_s.arg(median(ofYoung) * 1e3).arg(median(ofOld) * 1e3));
    };
    const bool idleHolds = compare(u"idle tick, old office against young"_s, youngIdle, oldIdle);
    return compare(u"busy tick, old office against young"_s, youngBusy, oldBusy) && idleHolds;
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const int youngRows = arguments.size() > 2 ? arguments[1].toInt() : 10'000;
    const int oldRows = arguments.size() > 2 ? arguments[2].toInt() : 1'000'000;
    try {
        bool holds = benchGrowth(DatabaseRoute::Sqlite, u"SQLite"_s, youngRows, oldRows);
        holds = benchGrowth(DatabaseRoute::PostgreSql, u"PostgreSQL"_s, youngRows, oldRows) && holds;
        return holds ? 0 : 1;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "bench-growth: %s\n", error.what());
        return 1;
    }
}
