#include "tests/simulation/Promises.h"

#include <algorithm>
#include <map>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace
{

/// One text to one number.
using Message = std::pair<QString, QString>;

QString words(const Message &message)
{
    return message.first + u' ' + message.second.left(30);
}

/// The late result of a text that was in hand at a kill cannot be told from that of the next: so many may be mistaken.
int mistakable(const Aftermath &run)
{
    return std::min(run.truth.kills, run.truth.lostAnswers);
}

struct Counts {
    int wanted = 0;
    int atMostWanted = 0;
    int sent = 0;   ///< told so
    int failed = 0; ///< told so
    int queued = 0;
    int accepted = 0; ///< by the network
};

std::map<Message, Counts> countsOf(const Aftermath &run)
{
    std::map<Message, Counts> counts;
    for (const Truth::Wanted &wanted : run.truth.wanted) {
        Counts &count = counts[{wanted.number, wanted.text}];
        count.atMostWanted += 1;
        count.wanted += wanted.isSure ? 1 : 0;
    }
    for (const QString &row : run.results) {
        Counts &count = counts[{row.section(u'|', 0, 0), row.section(u'|', 1, -2)}];
        (row.endsWith(u"|1") ? count.sent : count.failed) += 1;
    }
    for (const QString &row : run.queued)
        counts[{row.section(u'|', 0, 0), row.section(u'|', 1)}].queued += 1;
    for (const Truth::HandedOver &message : run.truth.handedOver)
        counts[{message.number, message.text}].accepted += message.isAccepted ? 1 : 0;
    return counts;
}

// What is promised of each message: how it was broken, if it was.

QStringList brokenIf(bool isBroken, const QString &words)
{
    return isBroken ? QStringList(words) : QStringList();
}

/// Nothing is lost: every message that was due has its result.
QStringList nothingIsLost(const Aftermath &, const QString &, const Counts &count)
{
    return brokenIf(count.sent + count.failed < count.wanted, u"lost or waiting for ever"_s);
}

/// Nothing is sent twice, but for the one message in hand at a kill; and never more than twice by one server.
QStringList nothingIsSentTwice(const Aftermath &run, const QString &number, const Counts &count)
{
    const bool wasUnnoted = std::ranges::any_of(
        run.refused, [](const QByteArray &name) { return name.contains("obeyed-codes"); });
    // What was obeyed while it could not be noted is obeyed again after a kill.
    const bool isConfirmation = !number.startsWith(u'+');
    if (run.truth.kills > 0 && isConfirmation && wasUnnoted)
        return {};
    const bool isQueuedTwice = count.sent + count.failed + count.queued > count.atMostWanted;
    const bool isSentOften = count.accepted > 2 * run.story.servers * count.atMostWanted + mistakable(run);
    const bool isSentTwice = count.accepted > count.atMostWanted &&
                             doubled(run) > std::min(run.truth.kills, run.story.mostDoubled);
    return brokenIf(isQueuedTwice, u"queued twice"_s) +
           brokenIf(isSentOften, u"sent %1 times"_s.arg(count.accepted)) +
           brokenIf(isSentTwice, u"sent twice"_s);
}

/// What is told as sent went out; what is told as failed did not, or the operator was told that it may have.
QStringList nothingIsFalselyReported(const Aftermath &run, const QString &number, const Counts &count)
{
    // So often the operator was told that a message to this number, told as failed, may be out all the same.
    const qsizetype doubts = std::ranges::count_if(run.log, [&number](const QString &line) {
        return line.contains(number + u"，失败原因"_s) && line.contains(u"可能已发出");
    });
    // What one server has in hand at its kill the other may send, and be refused.
    const bool isPriceOfKill = run.story.servers > 1 && run.truth.kills > 0;
    const qsizetype most =
        qsizetype(2) * run.story.servers * (count.sent + doubts) + (doubts > 0 ? mistakable(run) : 0);
    return brokenIf(count.sent > count.accepted + mistakable(run), u"told as sent, and it was not"_s) +
           brokenIf(count.failed > 0 && !isPriceOfKill && count.accepted > most,
                    u"told as failed, and it was sent"_s);
}

// What is promised of the whole run: what breaks it.

/// What the network would have taken at another try is not told as failed; two new sessions with the modem may cost one
/// message its end, as nobody knows then whose answer comes late.
QStringList nothingIsGivenUp(const Aftermath &run)
{
    const auto failed =
        std::ranges::count_if(run.results, [](const QString &row) { return row.endsWith(u"|0"); });
    const int most = run.truth.refusals + run.truth.lostAnswers + (run.truth.kills + run.truth.stops + 1) / 2;
    return brokenIf(failed > most,
                    u"%1 messages told as failed, of which %2 had a reason"_s.arg(failed).arg(most));
}

/// In an outage little is tried in vain.
QStringList littleIsTriedInVain(const Aftermath &run)
{
    const auto refused = qsizetype(run.truth.handedOver.size()) - accepted(run);
    return brokenIf(refused > run.story.mostRefused, u"%1 messages refused"_s.arg(refused));
}

/// A received message is stored once, as it was sent.
QStringList everyReceivedMessageIsStoredOnce(const Aftermath &run)
{
    QStringList broken;
    if (run.truth.removedUnread > 0)
        broken += u"%1 places not read before their removal"_s.arg(run.truth.removedUnread);
    std::map<Message, int> stored;
    for (const QString &row : run.received)
        ++stored[{row.section(u'|', 0, 0), row.section(u'|', 1)}];
    for (const Truth::Arrived &arrived : run.truth.arrived) {
        const Message message{arrived.sender, arrived.text};
        const int times = std::exchange(stored[message], 0);
        if (times < arrived.least || times > arrived.most)
            broken += u"stored %1 times: "_s.arg(times) + words(message);
    }
    for (const auto &[message, times] : stored) {
        if (times > 0)
            broken += u"stored, and nobody sent it: "_s + words(message);
    }
    return broken;
}

/// A modem that owes an answer gets no command, lest the late one be taken for the next one's. Whoever starts after a
/// kill may be answered by what another session asked.
QStringList noCommandIsHasty(const Aftermath &run)
{
    return brokenIf(run.truth.hastyCommands > 0 && run.truth.kills == 0,
                    u"%1 commands before the answer to the last"_s.arg(run.truth.hastyCommands));
}

/// The pieces of one message reach a number in their order, if the network took each at once.
QStringList piecesKeepTheirOrder(const Aftermath &run)
{
    QStringList broken;
    QMap<QString, int> lastPiece; // by number and the message's id
    QMap<QString, QString> ids;
    for (const Truth::Wanted &wanted : run.truth.wanted)
        ids[wanted.number + wanted.text] += wanted.id + u' '; // short ends may be alike
    const bool wasRefused =
        run.truth.refusedCommands > 0 ||
        std::ranges::any_of(run.truth.handedOver, [](const auto &it) { return !it.isAccepted; });
    if (wasRefused || run.truth.lostAnswers > 0)
        return {};
    for (const Truth::HandedOver &message : run.truth.handedOver) {
        const QString id = ids.value(message.number + message.text);
        if (id.count(u' ') > 1)
            continue;
        const int piece =
            message.text.startsWith(u'续') ? message.text.mid(1).section(u'：', 0, 0).toInt() : 0;
        int &last = lastPiece[message.number + id];
        if (piece < last && run.truth.kills == 0)
            broken += u"a piece overtook another: "_s + words({message.number, message.text});
        last = piece;
    }
    return broken;
}

/// No 60 minutes see more messages go out than SendPerHour says.
QStringList theLimitIsKept(const Aftermath &run)
{
    qsizetype limit = 0;
    for (const QString &setting : run.story.settings) {
        if (setting.startsWith(u"SendPerHour="))
            limit = setting.section(u'=', 1).toInt();
    }
    if (limit == 0 || run.truth.isClockMoved)
        return {};
    QMap<int, QList<Truth::Time>> byModem;
    for (const Truth::HandedOver &message : run.truth.handedOver)
        byModem[message.modem] += message.at;
    for (const QList<Truth::Time> &times : byModem) {
        for (qsizetype i = limit; i < times.size(); ++i) {
            constexpr auto onTheLine =
                1s; // a text is counted before it goes, and seen when its last octet is there
            if (times[i] - times[i - limit] < 1h - onTheLine)
                return {u"more than %1 messages in an hour"_s.arg(limit)};
        }
    }
    return {};
}

/// Nobody waits longer than two intervals and his place in the queue, when nothing is out of order.
QStringList nobodyWaitsLong(const Aftermath &run)
{
    constexpr std::chrono::milliseconds aMessage = 4s;
    // Of two servers one that blocks here holds the other up, too.
    if (!run.story.settings.isEmpty() || run.truth.isClockMoved || run.story.servers > 1)
        return {};
    QMap<Message, Truth::Time> first;
    for (const Truth::HandedOver &message : run.truth.handedOver) {
        if (!first.contains({message.number, message.text}))
            first.insert({message.number, message.text}, message.at);
    }
    QStringList broken;
    for (const Truth::Wanted &wanted : run.truth.wanted) {
        const auto ahead = std::ranges::count_if(run.truth.wanted, [&](const Truth::Wanted &other) {
            return other.since <= wanted.since + 2 * run.story.interval && other.since > wanted.since - 10min;
        });
        const auto bound = 2 * run.story.interval + (ahead + 1) * aMessage;
        const bool isCalm = std::ranges::none_of(run.truth.disturbances, [&](const auto &disturbance) {
            return disturbance.from < wanted.since + bound && disturbance.until > wanted.since - 10min;
        });
        const auto at = first.constFind({wanted.number, wanted.text});
        if (isCalm && wanted.isSure && wanted.since > 1min && at != first.cend() &&
            *at > wanted.since + bound)
            broken += u"waited %1 s: "_s.arg((*at - wanted.since) / 1s) + words({wanted.number, wanted.text});
    }
    return broken;
}

/// What the disk refused of a file of the server's is told with the file's name.
QStringList whatWasRefusedIsTold(const Aftermath &run)
{
    QStringList broken;
    for (const QByteArray &refused : run.refused) {
        const QString name = QString::fromUtf8(refused).remove(u".new"_s);
        // A result that cannot be noted yet is noted before the next text, and holds up nobody until then.
        if (name.endsWith(u"in-hand"_s))
            continue;
        if (name.startsWith(u"settings"_s) && run.truth.kills == 0 && run.log.filter(name).isEmpty())
            broken += u"not told: "_s + name;
    }
    return broken;
}

/// The operator is told of each thing once.
QStringList theLogStaysShort(const Aftermath &run)
{
    constexpr qsizetype timeLength = 24;
    QMap<QString, int> told;
    for (const QString &line : run.log) {
        const bool isOfFault = line.contains(u"settings1.ini"_s) || line.contains(u"失败："_s);
        if (isOfFault && ++told[line.mid(timeLength)] > 6 + 2 * (run.truth.kills + run.truth.stops))
            return {u"told again and again: "_s + line.mid(timeLength)};
    }
    const auto days = run.story.length / 24h + 1;
    const auto most = 200 * days + 20 * qsizetype(run.story.events.size());
    return brokenIf(run.log.size() > most, u"%1 lines in the log"_s.arg(run.log.size()));
}

} // namespace

int accepted(const Aftermath &run)
{
    return int(std::ranges::count_if(run.truth.handedOver, &Truth::HandedOver::isAccepted));
}

int doubled(const Aftermath &run)
{
    int times = 0;
    for (const auto &[message, count] : countsOf(run))
        times += qMax(0, count.accepted - count.atMostWanted);
    return times;
}

QStringList brokenPromises(const Aftermath &run)
{
    QStringList broken(run.isQuiet ? 0 : 1, u"something waits for ever"_s);
    for (const auto &[message, count] : countsOf(run)) {
        for (const auto &promise : {nothingIsLost, nothingIsSentTwice, nothingIsFalselyReported}) {
            for (const QString &how : promise(run, message.first, count))
                broken += how + u": "_s + words(message);
        }
    }
    for (const auto &promise :
         {nothingIsGivenUp, littleIsTriedInVain, everyReceivedMessageIsStoredOnce, noCommandIsHasty,
          piecesKeepTheirOrder, theLimitIsKept, nobodyWaitsLong, whatWasRefusedIsTold, theLogStaysShort})
        broken += promise(run);
    // Nobody waits for somebody else's fault longer than the story says.
    for (const QString &query : run.truth.unseen)
        broken += u"not so in time: "_s + query;
    return broken;
}
