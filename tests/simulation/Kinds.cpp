#include "tests/simulation/Kinds.h"

#include "tests/simulation/Simulation.h"

#include <algorithm>
#include <cerrno>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace
{

/// Some minutes in which everything happens once, ended at each crossing of a seam with and without a power cut.
std::vector<Story> endedStories()
{
    Story story{.length = 200s,
                .events = {{5s, u"waiting 1 0 150 u3,u4"_s},
                           {20s, u"code u1 QXNB"_s},
                           {40s, u"mail 2 internal u5"_s},
                           {41s, u"mail 3 external u6"_s},
                           {50s, u"sms 4 20 u3"_s},
                           {60s, u"sms 5 150 u4 3,1,2"_s},
                           {70s, u"waiting 6 30 60 u5"_s},
                           {71s, u"waiting 7 60 60 u6"_s},
                           {90s, u"withdraw 7"_s},
                           {110s, u"modem 1 refuse 1 21"_s},
                           {111s, u"waiting 8 0 10 u4"_s}}};
    std::vector<Story> stories;
    for (const quint64 last = simulate(story).crossings; story.endsAt < last;) {
        ++story.endsAt;
        for (story.isPowerCut = false; stories.size() < 2 * story.endsAt; story.isPowerCut = true)
            stories.push_back(story);
    }
    return stories;
}

/// Kills in the middle of a hand-over: restarted at once, nine of ten messages go out once; with a pause that loses
/// each answer, the loop gets past the head of the queue.
std::vector<Story> crashStories()
{
    std::vector<Story> stories;
    for (const auto &[kills, pause, most] : {std::tuple(100, 1, 10), std::tuple(20, 15, 20)}) {
        Story story{.length = 10min, .mostDoubled = most};
        story.events = {{1s, u"modem 1 latency 4000"_s}, {1s, u"crash 1 %1 %2"_s.arg(kills).arg(pause)}};
        for (int id = 1; id <= 100; ++id)
            story.events.push_back({2s, u"waiting %1 0 20 u%2"_s.arg(id).arg(id % 6 + 1)});
        stories.push_back(story);
    }
    return stories;
}

/// Somebody else's fault or work, and who must not wait for it longer than the lines with "sees" say.
std::vector<Story> fairnessStories()
{
    const QString sent = u"sees select count(*)=%1 from (select ToMB, MsgContent from SMS_ResultDetail where "
                         "IsSuccess='1' union all select ToMB, MsgContent from SMS_Queues where MsgStatus=8) "
                         "where MsgContent like '%2'"_s;
    const Story::Event slow{1s, u"modem 1 latency 3000"_s};
    std::vector<Story> stories{{.length = 10min,
                                .events = {slow,
                                           {1s, u"queue 1 0 1000"_s},
                                           {100s, u"sms 2 20 u3"_s},
                                           {104s, u"sees select count(*)=1 from SMS_SIMReceive"_s},
                                           {150s, u"code u1 QXNB"_s},
                                           {219s, sent.arg(1).arg(u"%取消了内部邮件%"_s)},
                                           {250s, u"mail 3 internal u5"_s},
                                           {329s, sent.arg(1).arg(u"%#3"_s)},
                                           {400s, u"waiting 4 0 20 u4"_s},
                                           {414s, u"sees select count(*)=0 from SMS_WaitToSend"_s}}}};
    const auto refuse = [](Story &story, int numbers, std::chrono::seconds until) {
        for (int number = 0; number < numbers; ++number) {
            story.events.push_back({1s, u"modem 1 refuse-number 1390000%1 500"_s.arg(1000 + number)});
            story.events.push_back({until, u"modem 1 refuse-number 1390000%1 0"_s.arg(1000 + number)});
        }
        story.events.push_back({2s, u"queue 1 0 %1"_s.arg(numbers)});
    };
    for (const int refused : {1, 5, 50}) {
        Story story{.length = 20min, .events = {slow}};
        refuse(story, refused, 10min);
        story.events.push_back({3s, u"queue 2 500 10"_s});
        // A tick, each of them at 3.5 s, and ten seconds.
        story.events.push_back({13s + (refused + 10) * 3500ms + 10s, sent.arg(10).arg(u"#2%"_s)});
        if (refused > 1) // one is the number's own fault
            story.events.push_back({19min, sent.arg(refused + 10).arg(u"%"_s)});
        stories.push_back(story);
    }
    Story outage{.length = 10min, .mostRefused = 40};
    refuse(outage, 30, 2min);
    outage.events.push_back({9min, sent.arg(30).arg(u"%"_s)});
    stories.push_back(outage);
    return stories;
}

/// Each file of the server's own and each way in which a disk or a hand spoils it, at the start, while the server
/// runs and around a kill.
std::vector<Story> spoiledStories()
{
    const Story whole{.settings = {u"SendPerHour=6"_s},
                      .length = 300s,
                      .events = {{1s, u"modem 1 storage-size 6"_s},
                                 {5s, u"waiting 1 0 30 u3,u4"_s},
                                 {20s, u"refusing 200"_s},
                                 {25s, u"sms 2 20 u3"_s},
                                 {26s, u"sms 3 150 u4 3,1,2"_s},
                                 {27s, u"sms 4 20 u5"_s},
                                 {40s, u"code u1 QXNB"_s},
                                 {92s, u"waiting 5 0 30 u5"_s},
                                 {95s, u"modem 1 store-tpdu 0011223344"_s},
                                 {100s, u"sms 6 20 u3"_s},
                                 {102s, u"code u2 DYRC"_s},
                                 {105s, u"mail 7 internal u5"_s},
                                 {120s, u"sms 8 20 u4"_s},
                                 {130s, u"waiting 9 0 60 u6"_s}}};
    struct Moment {
        std::chrono::milliseconds spoiled;
        Story::Event around;
    };
    const Moment starting{90s, {85s, u"stop 1 10"_s}};
    const Moment running{130s, {180s, u"stop 1 5"_s}};
    const Moment killed{90s, {91s, u"kill 1 9 10"_s}};
    std::vector<Story> stories;
    const auto tell = [&](const QString &spoiled, const std::vector<Moment> &moments,
                          const QString &mended = {}) {
        for (const auto &[when, around] : moments) {
            Story story = whole;
            story.events.insert(story.events.end(), {{when, spoiled}, around});
            if (!mended.isEmpty())
                story.events.insert(story.events.end(), {{when + 60s, mended}, {when + 61s, u"stop 1 5"_s}});
            std::ranges::stable_sort(story.events, {}, &Story::Event::at);
            stories.push_back(std::move(story));
        }
    };
    const std::vector<Moment> always{starting, running, killed};
    for (int pages = 0; pages < 4; ++pages)
        tell(u"full %1 60"_s.arg(pages), always);
    for (const QString &file : ownFiles()) {
        for (const int error : {EIO, EROFS, EACCES})
            tell(u"broken %1 60 %2"_s.arg(error).arg(file), always);
        // A start cannot know of what a hand took out of these before, but for the ledger's last line.
        const bool isSettings = file == ownFiles().first();
        const std::vector<Moment> known = file.endsWith(u"spool"_s) ? std::vector{running} : always;
        tell(u"emptied "_s + file, known, isSettings ? u"mended "_s + file : QString());
        const int most = isSettings ? 0 : file.endsWith(u"sends"_s) ? 18 : 100;
        for (int octets = 7; octets < most; octets += 7)
            tell(u"torn %1 %2"_s.arg(file).arg(octets), known);
    }
    return stories;
}

/// The control takes messages out of a store in which everything happens between its commands.
std::vector<Story> storeStories()
{
    std::vector<Story> stories;
    for (quint64 seed = 0; seed < 10; ++seed)
        stories.push_back(storeStory(seed));
    return stories;
}

} // namespace

const std::vector<Kind> &kinds()
{
    static const std::vector<Kind> all{
        {u"exhaustive"_s, u"One story, ended at every crossing of a seam."_s, endedStories},
        {u"crashes"_s, u"Killed in the middle of hand-overs."_s, crashStories},
        {u"disk"_s, u"Each file of the server's own, spoiled in every way."_s, spoiledStories},
        {u"fairness"_s, u"Somebody else's faults, for which nobody waits."_s, fairnessStories},
        {u"store"_s, u"A modem's store that others change while it is emptied."_s, storeStories}};
    return all;
}
