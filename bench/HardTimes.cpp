#include "bench/HardTimes.h"

#include "bench/Measure.h"
#include "bench/RoadOffice.h"
#include "outgoing/ResultArchiver.h"
#include "outgoing/ScheduledMessageExpander.h"

using namespace Qt::StringLiterals;

namespace
{

constexpr int refusedRows = 100'000;

/// No result is stored any more, nor a send list.
void refuseAll(Office &office)
{
    for (const QString &column : {u"SMS_ResultDetail.MsgContent"_s, u"SMS_SendList.MsgContent"_s}) {
        const QString table = column.section(u'.', 0, 0);
        if (office.route() == DatabaseRoute::Sqlite)
            office.oa(
                u"create trigger refuse_%1 before insert on %1 begin select raise(abort, 'no'); end"_s.arg(
                    table));
        else
            office.oa(u"alter table %1 %2"_s.arg(table, office.isPostgreSql()
                                                            ? u"alter column MsgContent type varchar(1)"_s
                                                            : u"modify MsgContent varchar(1)"_s));
    }
}

} // namespace

bool benchSetAside(DatabaseRoute route, const QString &name)
{
    RoadOffice office(route, Workload(1));
    refuseAll(office);
    if (office.isPostgreSql()) {
        // The server's log goes into a pipe that nobody reads here.
        office.oa(u"alter role current_user set log_min_messages='panic'"_s);
        if (!office.session.OpenDB())
            qFatal("%s", qPrintable(office.session.openFailure()));
    }
    office.oa(u"delete from SMS_WaitToSend"_s);
    const QString numbers =
        u" with recursive n(i) as (select 1 union all select i+1 from n where i<%1) select "_s.arg(
            refusedRows);
    if (office.isMariaDb())
        office.oa(u"set max_recursive_iterations=1000000"_s);
    office.oa(u"insert into SMS_WaitToSend (ToSendDT, ToUserList, MsgContent)"_s + numbers +
              u"'2006-01-01', 'user0', 'too long' from n"_s);
    office.oa(u"insert into SMS_Queues (ToMB, MsgContent, MsgStatus)"_s + numbers +
              u"'1', 'too long', '8' from n"_s);
    ScheduledMessageExpander expander(office.session, office.console, office.faults, office.clock);
    ResultArchiver archiver(office.session, office.console, office.faults, office.clock);
    bool holds = true;
    const auto measure = [&](const QString &pass, const std::function<void()> &run) {
        report(name + u": first "_s + pass + u" of 100,000 refused rows"_s, secondsOf(run), u"s"_s, true,
               u"shown"_s);
        double worst = 0;
        for (int i = 0; i < 5; ++i)
            worst = qMax(worst, secondsOf(run));
        holds = report(name + u": later ones, worst of 5"_s, worst, u"s"_s, worst < 1, u"below 1"_s) && holds;
        office.faults.sumUpRows();
        report(name + u": log lines"_s, double(office.console.takeLog().size()), u""_s, true, u"shown"_s);
    };
    measure(u"expander's pass"_s, [&] { expander.pass(); });
    measure(u"archiver's pass"_s, [&] { archiver.pass(); });
    return holds;
}
