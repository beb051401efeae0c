#include "bench/RoadBench.h"

#include "bench/BareLoop.h"
#include "bench/Measure.h"
#include "bench/RoadOffice.h"
#include "outgoing/MessagePieces.h"
#include "outgoing/ResultArchiver.h"
#include "outgoing/ScheduledMessageExpander.h"

using namespace Qt::StringLiterals;

namespace
{

constexpr double maximumStatements = 2.1;

struct Figures {
    double expand = 1e9;
    double archive = 1e9;
    double statementsPerQueueRow = 0;
    double statementsPerArchivedRow = 0;
};

void keepBest(Figures &best, double expand, double archive)
{
    best.expand = qMin(best.expand, expand);
    best.archive = qMin(best.archive, archive);
}

} // namespace

bool benchRoad(DatabaseRoute route, const QString &name, int recipients, int runs)
{
    const Workload load(recipients);
    Figures ours;
    Figures bare;
    const QStringList pieces = cutIntoPieces(load.text);
    const auto queueRows = double(load.names.size() * pieces.size());
    for (int run = 0; run < runs; ++run) {
        {
            RoadOffice office(route, load);
            const Connection &connection = office.session.Conn();
            ScheduledMessageExpander expander(office.session, office.console, office.faults, office.clock);
            const qint64 before = connection.statementsRun();
            const double expand = secondsOf([&] { expander.pass(); });
            const qint64 between = connection.statementsRun();
            office.oa(u"update SMS_Queues set MsgStatus=8"_s);
            ResultArchiver archiver(office.session, office.console, office.faults, office.clock);
            const double archive = secondsOf([&] { archiver.pass(); });
            keepBest(ours, expand, archive);
            ours.statementsPerQueueRow = double(between - before) / queueRows;
            ours.statementsPerArchivedRow = double(connection.statementsRun() - between) / queueRows;
            if (office.rows(u"select count(*) from SMS_ResultDetail"_s) !=
                QStringList(QString::number(qint64(queueRows))))
                qFatal("rows are missing");
        }
        {
            RoadOffice office(route, load);
            const auto loop = bareLoop(office);
            const double expand = secondsOf([&] { loop->expand(load.names, pieces); });
            office.oa(u"update SMS_Queues set MsgStatus=8"_s);
            keepBest(bare, expand, secondsOf([&] { loop->archive(); }));
        }
    }
    report(name + u": statements per queue row"_s, ours.statementsPerQueueRow, u""_s, true, u"shown"_s);
    const bool areStatementsFew =
        report(name + u": statements per archived row"_s, ours.statementsPerArchivedRow, u""_s,
               ours.statementsPerArchivedRow <= maximumStatements, u"at most 2.1"_s);
    const double expand = bare.expand / ours.expand;
    const double archive = bare.archive / ours.archive;
    const bool expandHolds =
        report(name + u": expander against the bare loop"_s, expand, u"x"_s, expand >= 0.7,
               u"at least 0.7 (%1 s, bare %2 s)"_s.arg(ours.expand).arg(bare.expand));
    return report(name + u": archiver against the bare loop"_s, archive, u"x"_s, archive >= 0.7,
                  u"at least 0.7 (%1 s, bare %2 s)"_s.arg(ours.archive).arg(bare.archive)) &&
           expandHolds && areStatementsFew;
}
