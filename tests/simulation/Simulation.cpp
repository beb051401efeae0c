#include "tests/simulation/Simulation.h"

#include "tests/simulation/Digest.h"
#include "tests/simulation/Kill.h"
#include "tests/simulation/MemoryDisk.h"
#include "tests/simulation/MemoryLine.h"
#include "tests/simulation/Server.h"
#include "tests/simulation/VirtualTime.h"
#include "tests/simulation/World.h"
#include "tests/support/LockTable.h"

#include <QTimer>
#include <algorithm>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace
{

/// One story, lived through once.
class Run
{
public:
    explicit Run(const Story &story)
        : m_story(begun(story)), m_world(story.servers), m_desks(size_t(story.servers))
    {
        m_world.onServers = [this](const QStringList &words) { command(words); };
        for (const Story::Event &event : story.events)
            QTimer::singleShot(qMax(1ms, event.at), Qt::PreciseTimer, &m_world,
                               [this, words = event.words] { m_world.perform(words); });
        for (int number = 1; number <= story.servers; ++number)
            start(number);
        if (story.endsAt > 0)
            command({story.isPowerCut ? u"cut"_s : u"kill"_s, u"1"_s, QString::number(story.endsAt), u"5"_s});
    }

    Aftermath live()
    {
        liveUntil(m_story.length);
        settle();
        Aftermath run{.story = m_story,
                      .truth = m_world.truth(),
                      .refused = disk().refused(),
                      .isQuiet = isQuiet(),
                      .crossings = Kill::crossings(1)};
        run.truth.hastyCommands = takeHastyCommands();
        run.truth.kills += m_story.endsAt > 0 ? 1 : 0;
        for (Desk &desk : m_desks) {
            if (desk.server)
                stop(desk);
        }
        run.results = m_world.office().rows(
            u"select ToMB, MsgContent, IsSuccess from SMS_ResultDetail order by OAID"_s);
        run.queued = m_world.office().rows(u"select ToMB, MsgContent from SMS_Queues order by OAID"_s);
        run.received =
            m_world.office().rows(u"select FromMB, MsgContent from SMS_SIMReceive order by OAID"_s);
        run.log = m_log;
        for (const QStringList *rows : {&run.results, &run.queued, &run.received})
            Digest::add("rows", rows->join(u'\n').toUtf8());
        run.digest = Digest::result();
        return run;
    }

private:
    /// Where a server stands, or stood.
    struct Desk {
        std::unique_ptr<Server> server;
        std::chrono::nanoseconds startedAt{0};
        std::chrono::seconds pause{5}; ///< until it is started again
        bool isPowerCut = false;
        bool isStopped = false; ///< by the operator
    };

    static const Story &begun(const Story &story)
    {
        constexpr std::chrono::seconds firstDay(1'772'409'600); // 2026-03-02
        VirtualTime::instance().restart(firstDay + std::chrono::minutes(story.seed % 1440));
        disk().restart(story.seed);
        Digest::restart();
        return story;
    }

    [[nodiscard]] int numberOf(const Desk &desk) const { return int(&desk - m_desks.data()) + 1; }

    void start(int number)
    {
        Desk &desk = m_desks[size_t(number) - 1];
        Kill::begin(number);
        desk.startedAt = VirtualTime::instance().now();
        const VirtualTime::As as(number);
        desk.server = std::make_unique<Server>(number, m_story, m_locks, [this](const QString &line) {
            m_log += line;
            Digest::add("log", line.toUtf8());
        });
    }

    /// kill N CROSSINGS PAUSE, cut N CROSSINGS PAUSE, stop N PAUSE
    void command(const QStringList &words)
    {
        Desk &desk = m_desks.at(size_t(words[1].toInt()) - 1);
        desk.pause = std::chrono::seconds(words.last().toInt());
        if (!desk.server)
            return;
        if (words.first() == u"stop") {
            desk.isStopped = true;
            desk.server->requestStop();
            return;
        }
        desk.isPowerCut = words.first() == u"cut";
        Kill::after(numberOf(desk), words.value(2).toULongLong());
    }

    [[nodiscard]] bool isOver(const Desk &desk) const
    {
        return desk.server && (desk.isStopped || Kill::isDead(numberOf(desk)));
    }

    void stop(Desk &desk)
    {
        const VirtualTime::As as(numberOf(desk));
        if (!Kill::isDead(numberOf(desk)))
            desk.server->stop();
        desk.server.reset();
    }

    void liveUntil(std::chrono::nanoseconds end)
    {
        const auto anyIsOver = [this] {
            return std::ranges::any_of(m_desks, [this](const Desk &desk) { return isOver(desk); });
        };
        while (VirtualTime::instance().runUntil(end, anyIsOver)) {
            for (Desk &desk : m_desks) {
                if (isOver(desk))
                    bury(desk);
            }
        }
    }

    void bury(Desk &desk)
    {
        stop(desk);
        if (std::exchange(desk.isPowerCut, false)) {
            disk().cutPower();
            m_world.office().reopen();
        }
        desk.isStopped = false;
        QTimer::singleShot(desk.pause, Qt::PreciseTimer, &m_world,
                           [this, number = numberOf(desk)] { start(number); });
    }

    [[nodiscard]] bool isQuiet()
    {
        constexpr static auto aWhile = 90s; // some intervals
        const bool areServersUp = std::ranges::all_of(m_desks, [](const Desk &desk) {
            return desk.server && VirtualTime::instance().now() - desk.startedAt > aWhile;
        });
        return areServersUp && m_world.isQuiet() &&
               m_world.office()
                       .rows(
                           u"select (select count(*) from SMS_WaitToSend) + (select count(*) from SMS_Queues)"_s)
                       .first() == u"0";
    }

    /// All that is out of order ends, and all that waits has its time.
    void settle()
    {
        constexpr auto least = 3min;
        const auto most = m_story.settings.isEmpty() ? 6h : 14h; // a clock may have been set back by hours
        for (auto passed = least; passed < most; passed += 1min) {
            liveUntil(m_story.length + passed);
            if (isQuiet())
                return;
            m_world.settle();
        }
    }

    const Story &m_story;
    World m_world;
    LockTable m_locks;
    std::vector<Desk> m_desks;
    QStringList m_log;
};

} // namespace

Aftermath simulate(const Story &story)
{
    return Run(story).live();
}

Story shortest(Story story)
{
    // First large parts of it, then single events.
    for (size_t part = qMax<size_t>(1, story.events.size() / 2); part > 0; part /= 2) {
        for (size_t end = story.events.size(); end > 0; end -= qMin(end, part)) {
            Story without = story;
            const auto first = without.events.begin() + std::ptrdiff_t(end - qMin(end, part));
            without.events.erase(first, without.events.begin() + std::ptrdiff_t(end));
            if (!brokenPromises(simulate(without)).isEmpty())
                story = std::move(without);
        }
    }
    return story;
}
