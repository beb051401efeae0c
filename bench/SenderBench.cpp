#include "bench/BareLine.h"
#include "bench/Measure.h"
#include "bench/OutgoingBenches.h"
#include "bench/StartedServer.h"
#include "outgoing/QueueSender.h"
#include "platform/files/Files.h"
#include "tests/support/Office.h"
#include "tests/support/SimulatorProcess.h"

#include <QDateTime>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace
{

constexpr int rowCount = 300;
constexpr int latencyMilliseconds = 50;
constexpr int scanIntervalSeconds = 1;

void fill(Office &office)
{
    office.oa(u"begin"_s);
    for (int i = 0; i < rowCount; ++i)
        office.oa(u"insert into SMS_Queues (SOAID, ToUser, ToMB, MsgContent, MsgStatus, RetryCount)"
                  " values (1, 'user', '13800000000', ?, '0', 0)"_s,
                  {QString(70, u'长')});
    office.oa(u"commit"_s);
    office.makeDurable();
}

struct SenderRun {
    double seconds = 0;
    int commandLines = 0;
};

SenderRun senderRun(int latency)
{
    Office office;
    fill(office);
    const SimulatorProcess simulator({u"--do"_s, u"latency %1"_s.arg(latency)});
    SenderRun run;
    ModemControl modem(office.clock, [&](int) { return simulator.devicePath(); });
    modem.setPortNumber(1);
    if (modem.open() != 0)
        throw std::runtime_error("the modem does not open");
    modem.setTrace([&run](TraceDirection direction, QByteArrayView octets) {
        if (direction == TraceDirection::Sent)
            run.commandLines += int(octets.toByteArray().count("AT"));
    });
    InHand inHand(office.path(u"in-hand"_s));
    modem.setHandOver(
        {[&](const HandOver::Part &part) { inHand.handingOver(part); },
         [&](const HandOver::Part &part, bool isAccepted) { inHand.handedOver(part, isAccepted); }});
    SendLimits limits(office.clock, office.console, {});
    QueueSender sender(office.session, office.console, office.faults, office.clock, modem, limits, inHand);
    run.seconds = secondsOf([&] {
        while (sender.sendNext()) {
        }
    });
    return run;
}

double bareSeconds(int latency, bool isNoted)
{
    Office office;
    fill(office);
    const SimulatorProcess simulator({u"--do"_s, u"latency %1"_s.arg(latency)});
    BareLine line(simulator.devicePath());
    // 70 characters in UCS-2 to 13800000000: what the driver sends as well
    const QByteArray tpdu = "0001000B813108000000F000088C" + QByteArray("957F").repeated(70) + '\x1a';
    return secondsOf([&] {
        for (int row = 1; row <= rowCount; ++row) {
            line.exchange("AT+CMGS=153\r", "> ");
            // Without it a kill in a loop sends the same message for ever.
            if (isNoted && appendSynced(office.path(u"noted"_s), QByteArray::number(row) + '\n').isError())
                throw std::runtime_error("the note cannot be written");
            line.exchange(tpdu);
            office.session.Conn().execute(u"update SMS_Queues set MsgStatus=8 where OAID=?"_s, {row});
        }
    });
}

/// Milliseconds from the commit of a waiting row to the first octet of its send, by the server's own trace.
double reactionMilliseconds(Office &office, StartedServer &server)
{
    office.oa(
        u"insert into SMS_WaitToSend (ToSendDT, ToUserList, MsgContent) values ('2006-01-01', 'user', 'x')"_s);
    const QTime committed = QTime::currentTime();
    QString line;
    do
        line = server.nextLine();
    while (!line.contains(u"> AT+CMGS"_s));
    return committed.msecsTo(QTime::fromString(line.left(12), u"HH:mm:ss.zzz"_s));
}

bool benchReaction()
{
    Office office;
    office.oa(
        u"insert into VO_UserInfor (UserName, Mobile, AccountState) values ('user', '13800000000', '1')"_s);
    const SimulatorProcess simulator;
    office.configureModem(simulator.devicePath(), scanIntervalSeconds);
    StartedServer server(office.registry.fileName(), {u"--trace"_s});
    double worst = 0;
    for (int i = 0; i < 10; ++i)
        worst = qMax(worst, reactionMilliseconds(office, server));
    const int limit = 2 * scanIntervalSeconds * 1000 + 50;
    return report(u"sender: waiting row to first AT octet, worst of 10, interval 1 s"_s, worst, u"ms"_s,
                  worst <= limit, u"at most %1"_s.arg(limit));
}

} // namespace

bool benchSender()
{
    const SenderRun slow = senderRun(latencyMilliseconds);
    constexpr double networkSeconds = rowCount * latencyMilliseconds / 1000.0;
    const double networkShare = slow.seconds / networkSeconds;
    const double bareShare = bareSeconds(latencyMilliseconds, true) / networkSeconds;
    const double withoutNote = bareSeconds(latencyMilliseconds, false) / networkSeconds;
    bool holds =
        report(u"sender: 300 rows at 50 ms against the network's own time"_s, networkShare, u"x"_s,
               networkShare <= 1.05 * bareShare,
               u"at most 1.05 times the bare loop with commits and synced notes, %1; without notes %2"_s
                   .arg(bareShare)
                   .arg(withoutNote));
    const double lines = double(slow.commandLines - 1) / rowCount; // one asserts PDU mode for the whole pass
    holds =
        report(u"sender: AT command lines a message"_s, lines, u""_s, lines <= 1, u"at most 1"_s) && holds;

    const Rivals best = bestOf(
        3, [] { return senderRun(0).seconds; }, [] { return bareSeconds(0, true); });
    report(u"sender: 300 rows without latency"_s, best.ours, u"s"_s, true, u"bare %1 s"_s.arg(best.bare));
    const double ratio = best.bare / best.ours;
    holds = report(u"sender: rate against the bare loop"_s, ratio, u"x"_s, ratio >= 0.5, u"at least 0.5"_s) &&
            holds;
    return benchReaction() && holds;
}
