#include "tests/simulation/Kinds.h"
#include "tests/simulation/MemoryDisk.h"
#include "tests/simulation/Simulation.h"
#include "tests/simulation/VirtualTime.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <cstdio>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace
{

void print(const QString &text)
{
    std::fputs((text + u'\n').toUtf8().constData(), stdout);
    std::fflush(stdout);
}

/// Lives through one story after the other.
class Judge
{
public:
    /// again: the command that shows the story anew.
    void judge(const Story &story, const QString &again)
    {
        const Aftermath run = simulate(story);
        ++m_runs;
        m_kills += run.truth.kills;
        m_accepted += accepted(run);
        m_doubled += doubled(run);
        const QStringList broken = brokenPromises(run);
        if (broken.isEmpty())
            return;
        print(u"%1 breaks promises:\n  %2"_s.arg(again, broken.join(u"\n  "_s)));
        constexpr int mostTold = 10; // to find the shortest takes its time
        if (++m_failed > mostTold)
            return;
        const Story least = shortest(story);
        print(least.text());
        print(u"  -> "_s + brokenPromises(simulate(least)).join(u"\n  -> "_s));
    }

    [[nodiscard]] int conclude() const
    {
        print(u"%1 stories: %2 kills, %3 messages sent, %4 of them twice; %5 broke a promise"_s.arg(m_runs)
                  .arg(m_kills)
                  .arg(m_accepted)
                  .arg(m_doubled)
                  .arg(m_failed));
        return m_failed == 0 ? 0 : 1;
    }

private:
    int m_runs = 0;
    int m_failed = 0;
    qint64 m_kills = 0;
    qint64 m_accepted = 0;
    qint64 m_doubled = 0;
};

int one(const Story &story)
{
    print(story.text());
    const Aftermath run = simulate(story);
    for (const QString &line : run.log)
        print(u"  log: "_s + line);
    const QStringList broken = brokenPromises(run);
    for (const QString &promise : broken)
        print(u"  broken: "_s + promise);
    print(u"%1 kills, %2 messages sent, %3 log lines, digest %4"_s.arg(run.truth.kills)
              .arg(accepted(run))
              .arg(run.log.size())
              .arg(QLatin1StringView(run.digest)));
    return broken.isEmpty() ? 0 : 1;
}

/// What the command line asks for; the seeds from the one that the file of progress names, or all of a slice of them.
class Request
{
public:
    explicit Request(const QCoreApplication &application)
    {
        m_parser.setApplicationDescription(u"Lives through days of an office, each told by a seed, on a "
                                           u"virtual clock, and judges whether the "
                                           "server keeps its promises. Status 1 when one is broken."_s);
        m_parser.addHelpOption();
        m_parser.addOptions({{u"seed"_s, u"Tell and judge this one story."_s, u"N"_s},
                             {u"seeds"_s, u"Judge these stories."_s, u"A..B"_s},
                             {u"days"_s, u"... of so many days; ten minutes without."_s, u"D"_s, u"0"_s},
                             {u"interval"_s, u"... with this scan interval."_s, u"SECONDS"_s, u"10"_s},
                             {u"century"_s, u"Judge the days of a hundred years, at an interval of 60 s."_s},
                             {u"slice"_s, u"... every Nth from the Ith on."_s, u"I/N"_s, u"0/1"_s},
                             {u"progress"_s, u"... where to go on after an interruption."_s, u"FILE"_s},
                             {u"every"_s, u"Only every Nth of a kind's stories:"_s, u"N"_s, u"1"_s}});
        for (const Kind &kind : kinds())
            m_parser.addOption({kind.name, kind.purpose});
        m_parser.process(application);
    }

    int answer()
    {
        const bool isCentury = m_parser.isSet(u"century"_s);
        const auto days = isCentury ? 1 : number(u"days"_s);
        m_length = days > 0 ? 24h * days : std::chrono::seconds(10min);
        m_interval = isCentury ? 60s : std::chrono::seconds(number(u"interval"_s));
        if (m_parser.isSet(u"seed"_s))
            return one(storyOf(number(u"seed"_s), m_length, m_interval));
        Judge judge;
        if (isCentury)
            judgeSeeds(judge, 0, 36'499);
        else if (const QString range = m_parser.value(u"seeds"_s); !range.isEmpty())
            judgeSeeds(judge, range.section(u".."_s, 0, 0).toULongLong(),
                       range.section(u".."_s, 1).toULongLong());
        for (const Kind &kind : kinds()) {
            if (!m_parser.isSet(kind.name))
                continue;
            const std::vector<Story> stories = kind.stories();
            for (size_t i = 0; i < stories.size(); i += qMax<size_t>(1, number(u"every"_s)))
                judge.judge(stories[i], u"simulation --"_s + kind.name);
        }
        return judge.conclude();
    }

private:
    [[nodiscard]] quint64 number(const QString &option) const { return m_parser.value(option).toULongLong(); }

    void judgeSeeds(Judge &judge, quint64 first, quint64 last)
    {
        const QString slice = m_parser.value(u"slice"_s);
        const quint64 step = qMax<quint64>(1, slice.section(u'/', 1).toULongLong());
        quint64 seed = first + slice.section(u'/', 0, 0).toULongLong();
        QFile progress(m_parser.value(u"progress"_s));
        if (!progress.fileName().isEmpty() && progress.open(QIODevice::ReadOnly))
            seed = progress.readAll().trimmed().toULongLong();
        progress.close();
        for (; seed <= last; seed += step) {
            QString again = u"simulation --seed %1"_s.arg(seed);
            if (m_length > 1h)
                again += u" --days %1 --interval %2"_s.arg(m_length / 24h).arg(m_interval.count());
            judge.judge(storyOf(seed, m_length, m_interval), again);
            if (!progress.fileName().isEmpty() && progress.open(QIODevice::WriteOnly))
                progress.write(QByteArray::number(seed + step) + '\n');
            progress.close();
        }
    }

    QCommandLineParser m_parser;
    std::chrono::seconds m_length{0};
    std::chrono::seconds m_interval{0};
};

} // namespace

int main(int argc, char *argv[])
{
    qputenv("TZ", "Asia/Shanghai");
    qputenv("QT_HASH_SEED", "0");
    VirtualTime::instance();
    const QCoreApplication application(argc, argv);
    registerMemoryVfs();
    return Request(application).answer();
}
