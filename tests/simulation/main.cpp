#include "tests/simulation/MemoryDisk.h"
#include "tests/simulation/Simulation.h"
#include "tests/simulation/StoreSteps.h"
#include "tests/simulation/VirtualTime.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <cstdio>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace
{

const QString usage =
    u"Lives through days of an office, each told by a seed, on a virtual clock, and judges whether the "
    "server keeps its promises. Status 1 when one is broken."_s;

struct Figures {
    int runs = 0;
    int failed = 0;
    qint64 kills = 0;
    qint64 sent = 0;
    qint64 doubled = 0;
};

void print(const QString &text)
{
    std::fputs((text + u'\n').toUtf8().constData(), stdout);
    std::fflush(stdout);
}

/// Tells what a story broke, as short as it can be told, and how to see it again.
void tellFailure(const Story &story, const QStringList &broken, const QString &command)
{
    print(
        u"seed %1 breaks promises:\n  %2\nagain: %3"_s.arg(story.seed).arg(broken.join(u"\n  "_s), command));
    const Story least = shortest(story);
    print(least.text());
    print(u"  -> "_s + simulate(least).broken.join(u"\n  -> "_s));
}

void judge(const Story &story, const QString &command, Figures &figures)
{
    const Outcome outcome = simulate(story);
    ++figures.runs;
    figures.kills += outcome.kills;
    figures.sent += outcome.sent;
    figures.doubled += outcome.doubled;
    if (outcome.broken.isEmpty())
        return;
    ++figures.failed;
    tellFailure(story, outcome.broken, command);
}

int conclude(const Figures &figures, const QString &what)
{
    print(u"%1 %2: %3 kills, %4 messages sent, %5 of them twice; %6 broke a promise"_s.arg(figures.runs)
              .arg(what)
              .arg(figures.kills)
              .arg(figures.sent)
              .arg(figures.doubled)
              .arg(figures.failed));
    return figures.failed == 0 ? 0 : 1;
}

int one(const Story &story)
{
    print(story.text());
    const Outcome outcome = simulate(story);
    for (const QString &line : outcome.log)
        print(u"  log: "_s + line);
    for (const QString &promise : outcome.broken)
        print(u"  broken: "_s + promise);
    print(u"%1 kills, %2 messages sent, %3 log lines, digest %4"_s.arg(outcome.kills)
              .arg(outcome.sent)
              .arg(outcome.log.size())
              .arg(QLatin1StringView(outcome.digest)));
    return outcome.broken.isEmpty() ? 0 : 1;
}

int seeds(quint64 first, quint64 last)
{
    Figures figures;
    for (quint64 seed = first; seed <= last; ++seed)
        judge(storyOf(seed, 10min, 10s), u"simulation --seed %1"_s.arg(seed), figures);
    return conclude(figures, u"seeds of ten minutes"_s);
}

/// Every crossing of a seam once the end, with and without a power cut.
int exhaustive(quint64 every)
{
    Figures figures;
    const Story story = quietStory();
    const quint64 crossings = simulate(story).crossings;
    print(u"%1 crossings"_s.arg(crossings));
    for (quint64 crossing = 1; crossing <= crossings; crossing += every) {
        for (const bool isPowerCut : {false, true}) {
            const Outcome outcome = simulate(story, ExtraKill{crossing, isPowerCut});
            ++figures.runs;
            figures.sent += outcome.sent;
            figures.kills += outcome.kills;
            figures.doubled += outcome.doubled;
            if (outcome.broken.isEmpty())
                continue;
            ++figures.failed;
            print(u"%1 at crossing %2:\n  %3"_s.arg(isPowerCut ? u"power cut"_s : u"kill"_s)
                      .arg(crossing)
                      .arg(outcome.broken.join(u"\n  "_s)));
        }
    }
    return conclude(figures, u"ends of one story"_s);
}

/// Kills in the middle of a hand-over: restarted at once, nine of ten messages go out once; with a pause that loses
/// each answer, the loop gets past the head of the queue.
int crashes()
{
    Figures figures;
    for (const auto &[kills, pause, most] : {std::tuple(100, 1s, 10), std::tuple(20, 15s, 20)}) {
        constexpr int messages = 100;
        const Outcome outcome = simulate(crashStory(messages, kills, pause));
        figures.doubled += outcome.doubled;
        ++figures.runs;
        figures.kills += outcome.kills;
        figures.sent += outcome.sent;
        print(u"%1 kills, started again after %2 s: %3 of %4 messages twice"_s.arg(outcome.kills)
                  .arg(pause.count())
                  .arg(outcome.doubled)
                  .arg(messages));
        if (outcome.broken.isEmpty() && outcome.kills == kills && outcome.doubled <= most)
            continue;
        ++figures.failed;
        print(outcome.broken.join(u"\n  "_s));
    }
    return conclude(figures, u"stories of crashes"_s);
}

/// The last one is an outage, in which little is tried in vain.
int fairness()
{
    constexpr int mostRefused = 40;
    Figures figures;
    const auto stories = fairnessStories();
    for (const auto &[name, story] : stories) {
        Outcome outcome = simulate(story);
        if (&story == &stories.back().story && outcome.refused > mostRefused)
            outcome.broken += u"too many tries"_s;
        ++figures.runs;
        figures.sent += outcome.sent;
        figures.failed += outcome.broken.isEmpty() ? 0 : 1;
        print(u"%1: %2 sent, %3 refused\n  %4"_s.arg(name)
                  .arg(outcome.sent)
                  .arg(outcome.refused)
                  .arg(outcome.broken.join(u"\n  "_s)));
    }
    return conclude(figures, u"stories of somebody else's fault"_s);
}

/// Every file of the server's own, spoiled in every way.
int disk(size_t every)
{
    Figures figures;
    const std::vector<Story> stories = spoiledStories();
    for (size_t i = 0; i < stories.size(); i += every)
        judge(stories[i], u"simulation --disk"_s, figures);
    return conclude(figures, u"spoiled files"_s);
}

/// The days of a hundred years from the one that the file of progress names, or all of a slice of them.
int century(const QString &slice, const QString &progressFile)
{
    constexpr quint64 days = 36'500;
    const quint64 part = slice.section(u'/', 0, 0).toULongLong();
    const quint64 parts = qMax<quint64>(1, slice.section(u'/', 1).toULongLong());
    quint64 day = part;
    QFile progress(progressFile);
    if (!progressFile.isEmpty() && progress.open(QIODevice::ReadOnly))
        day = progress.readAll().trimmed().toULongLong();
    progress.close();
    Figures figures;
    for (; day < days; day += parts) {
        judge(storyOf(day, 24h, 60s), u"simulation --seed %1 --days 1 --interval 60"_s.arg(day), figures);
        if (!progressFile.isEmpty() && progress.open(QIODevice::WriteOnly))
            progress.write(QByteArray::number(day + parts) + '\n');
        progress.close();
    }
    return conclude(figures, u"days"_s);
}

} // namespace

int main(int argc, char *argv[])
{
    qputenv("TZ", "Asia/Shanghai");
    qputenv("QT_HASH_SEED", "0");
    VirtualTime::instance();
    const QCoreApplication application(argc, argv);
    registerMemoryVfs();
    QCommandLineParser parser;
    parser.setApplicationDescription(usage);
    parser.addHelpOption();
    parser.addOptions(
        {{u"seed"_s, u"Tell and judge this one story."_s, u"N"_s},
         {u"days"_s, u"... of so many days; ten minutes without."_s, u"D"_s},
         {u"interval"_s, u"... with this scan interval."_s, u"SECONDS"_s, u"10"_s},
         {u"seeds"_s, u"Judge these stories of ten minutes."_s, u"A..B"_s},
         {u"century"_s, u"Judge the days of a hundred years."_s},
         {u"slice"_s, u"... every Nth from the Ith on."_s, u"I/N"_s},
         {u"progress"_s, u"... where to go on after an interruption."_s, u"FILE"_s},
         {u"store-steps"_s, u"So much happens to a modem's store that is being emptied."_s, u"N"_s},
         {u"exhaustive"_s, u"Kill one story at every crossing of a seam."_s},
         {u"crashes"_s, u"Kill it in the middle of hand-overs."_s},
         {u"disk"_s, u"Spoil each file of the server's own in every way."_s},
         {u"fairness"_s, u"Somebody else's faults, for which nobody waits."_s},
         {u"every"_s, u"... or at every Nth."_s, u"N"_s, u"1"_s}});
    parser.process(application);
    if (parser.isSet(u"store-steps"_s)) {
        QStringList lost;
        for (quint64 seed = 0; seed < 4; ++seed)
            lost += storeSteps(parser.value(u"store-steps"_s).toInt() / 4, seed);
        lost.removeAll(QString());
        print(lost.join(u'\n'));
        return lost.isEmpty() ? 0 : 1;
    }
    if (parser.isSet(u"seed"_s)) {
        const auto days = parser.value(u"days"_s).toInt();
        return one(storyOf(parser.value(u"seed"_s).toULongLong(), days > 0 ? 24h * days : 10min,
                           std::chrono::seconds(parser.value(u"interval"_s).toInt())));
    }
    if (parser.isSet(u"seeds"_s)) {
        const QStringList range = parser.value(u"seeds"_s).split(u".."_s);
        return seeds(range.first().toULongLong(), range.last().toULongLong());
    }
    if (parser.isSet(u"exhaustive"_s))
        return exhaustive(qMax(1, parser.value(u"every"_s).toInt()));
    if (parser.isSet(u"crashes"_s))
        return crashes();
    if (parser.isSet(u"fairness"_s))
        return fairness();
    if (parser.isSet(u"disk"_s))
        return disk(size_t(qMax(1, parser.value(u"every"_s).toInt())));
    if (parser.isSet(u"century"_s))
        return century(parser.value(u"slice"_s), parser.value(u"progress"_s));
    parser.showHelp(2);
}
