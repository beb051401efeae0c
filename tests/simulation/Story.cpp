#include "tests/simulation/Story.h"

#include <algorithm>
#include <cerrno>
#include <random>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

const QStringList &ownFiles()
{
    static const QStringList names{u"settings1.ini"_s,
                                   u"settings1.ini.sends"_s,
                                   u"settings1.ini.received-spool"_s,
                                   u"settings1.ini.obeyed-codes"_s,
                                   u"settings1.ini.in-hand"_s,
                                   u"settings1.ini.metrics"_s,
                                   u"settings1.ini.unreadable"_s};
    return names;
}

namespace
{

/// Draws one story. The engine's own numbers only: distributions differ from library to library.
class Teller
{
public:
    explicit Teller(Story &story) : m_story(story), m_chance(story.seed * 2 + 1) {}

    void tell()
    {
        if (oneIn(8))
            m_story.servers = 2;
        tellSettings();
        // A day has fewer events an hour than ten minutes have.
        const auto minutes = m_story.length / 1min;
        const qint64 events = 10 + minutes / 2 + below(8);
        for (qint64 i = 0; i < events; ++i)
            oneIn(4) ? tellDisturbance() : tellWork();
        std::ranges::stable_sort(m_story.events, {}, &Story::Event::at);
    }

private:
    qint64 below(qint64 limit) { return static_cast<qint64>(m_chance() % quint64(limit)); }
    qint64 between(qint64 first, qint64 last) { return first + below(last - first + 1); }
    bool oneIn(int times) { return below(times) == 0; }
    template <typename T>
    T oneOf(std::initializer_list<T> choices)
    {
        return *(choices.begin() + below(qint64(choices.size())));
    }
    qint64 server() { return between(1, m_story.servers); }
    QString user() { return u"u%1"_s.arg(between(1, 6)); }

    void at(std::chrono::milliseconds time, const QString &words) { m_story.events.push_back({time, words}); }
    void now(const QString &words) { at(std::chrono::milliseconds(below(m_story.length / 1ms)), words); }

    void tellSettings()
    {
        if (oneIn(5)) // so that all of a day has its room
            m_story.settings += u"SendPerHour=%1"_s.arg(between(5, 40) + (m_story.length > 1h ? 150 : 0));
        if (oneIn(8))
            m_story.settings += u"SendGap=%1"_s.arg(between(1, 8));
    }

    void tellWork()
    {
        const int id = ++m_lastId;
        switch (below(7)) {
        case 0:
        case 1: {
            QStringList users;
            for (qint64 i = between(1, 3); i > 0; --i)
                users += user();
            users.removeDuplicates();
            const auto delay = oneOf<qint64>({-60, 0, between(1, 120), between(60, 300)});
            const std::chrono::milliseconds when(below(m_story.length / 1ms));
            at(when, u"waiting %1 %2 %3 %4"_s.arg(id).arg(delay).arg(between(5, 200)).arg(users.join(u',')));
            if (oneIn(6))
                at(when + std::chrono::seconds(below(300)), u"withdraw %1"_s.arg(id));
            if (oneIn(6))
                at(when + std::chrono::seconds(below(300)), u"postpone %1 %2"_s.arg(id).arg(below(200)));
            return;
        }
        case 2:
        case 3:
            now(u"mail %1 %2 %3"_s.arg(id).arg(oneOf({u"internal"_s, u"external"_s}), user()));
            return;
        case 4:
            now(u"code %1 %2"_s.arg(oneOf({u"u1"_s, u"u2"_s}),
                                    oneOf({u"DYNB"_s, u"QXNB"_s, u"DYRC"_s, u"QXRC"_s})));
            return;
        case 5:
            now(u"sms %1 150 %2 %3"_s.arg(id).arg(user(), oneOf({u"1,2,3"_s, u"3,1,2"_s, u"2,2,1,3"_s})));
            return;
        default:
            now(u"sms %1 %2 %3"_s.arg(id).arg(between(5, 60)).arg(user()));
        }
    }

    void tellDisturbance()
    {
        switch (below(5)) {
        case 2: {
            // A late answer where the network takes its time over a text.
            const std::chrono::milliseconds when(below(m_story.length / 1ms));
            const qint64 modem = server();
            at(when, u"modem %1 edit 1 %2 late %3"_s.arg(modem)
                         .arg(oneOf({u"AT+CMGF"_s, u"+CREG"_s}))
                         .arg(between(15000, 40000)));
            at(when, u"modem %1 slow 1 %2"_s.arg(modem).arg(between(30000, 100000)));
            return;
        }
        case 0:
            now(oneIn(3) ? u"crash %1 %2 %3"_s.arg(server()).arg(between(1, 6)).arg(between(1, 20))
                         : u"kill %1 %2 %3"_s.arg(server()).arg(below(150)).arg(between(1, 40)));
            return;
        case 1:
            // The power of an office with two servers goes where neither of them nor the database stands.
            now(m_story.servers > 1
                    ? u"away %1 %2"_s.arg(server()).arg(between(5, 100))
                    : oneOf({u"cut 1 %1 %2"_s.arg(below(150)).arg(between(5, 90)),
                             u"stop 1 %1"_s.arg(between(1, 30)), u"held %1"_s.arg(between(1, 40)),
                             u"full %1 %2"_s.arg(below(4)).arg(between(10, 120)),
                             u"broken %1 %2 oa.db"_s.arg(oneOf({5, 13, 30})).arg(between(5, 60)),
                             u"broken %1 %2 %3"_s.arg(oneOf({5, 13, 30}))
                                 .arg(between(5, 60))
                                 .arg(ownFiles().at(below(ownFiles().size()))),
                             u"refusing %1"_s.arg(between(5, 200)),
                             u"clock %1"_s.arg(oneOf<qint64>({-3600, -40, 90, 3700}))}));
            return;
        default:
            now(u"modem %1 "_s.arg(server()) +
                oneOf({u"refuse %1 %2"_s.arg(between(1, 5))
                           .arg(oneOf({1, 21, 27, 38, 41, 42, 47, 69, 331, 500, 512})),
                       u"outage %1"_s.arg(between(5000, 150000)), u"outage %1"_s.arg(between(5000, 150000)),
                       u"unplug %1"_s.arg(between(100, 60000)), u"restart"_s, u"restart silent"_s,
                       u"late 1 %1"_s.arg(between(1000, 200000)), u"slow 1 %1"_s.arg(between(1000, 100000)),
                       u"edit 1 > no-final"_s, u"edit 1 > restart"_s,
                       u"edit 1 > late %1"_s.arg(between(1000, 250000)),
                       u"edit 1 +CMGL garble %1"_s.arg(between(1, 4)), u"edit 1 +CMGR garble 2"_s,
                       u"edit 1 %1 late %2"_s
                           .arg(oneOf(
                               {u"+CMGL"_s, u"+CMGR"_s, u"+CMGD"_s, u"+CREG"_s, u"AT+CMGF"_s, u"+CMGS"_s}))
                           .arg(between(3000, 40000)),
                       u"answer 1 AT+CMGS ERROR"_s, u"bare-ok 1"_s, u"urc-mid-send ^BOOT: 1"_s,
                       u"urc-mid +CMTI: \"SM\",3"_s}));
        }
    }

    Story &m_story;
    std::mt19937_64 m_chance;
    int m_lastId = 0;
};

} // namespace

Story storyOf(quint64 seed, std::chrono::seconds length, std::chrono::seconds interval)
{
    Story story{.seed = seed, .interval = interval, .length = length};
    Teller(story).tell();
    return story;
}

QString Story::text() const
{
    QString text = u"%1 servers, every %2 s"_s.arg(servers).arg(interval.count());
    for (const QString &setting : settings)
        text += u", "_s + setting;
    if (endsAt > 0)
        text += u", %1 at crossing %2"_s.arg(isPowerCut ? u"power cut"_s : u"killed"_s).arg(endsAt);
    for (const Event &event : events) {
        const auto seconds = event.at / 1s;
        text += u"\n  %1 %2:%3:%4.%5  %6"_s.arg(seconds / 86400)
                    .arg(seconds / 3600 % 24, 2, 10, QChar(u'0'))
                    .arg(seconds / 60 % 60, 2, 10, QChar(u'0'))
                    .arg(seconds % 60, 2, 10, QChar(u'0'))
                    .arg(event.at % 1s / 1ms, 3, 10, QChar(u'0'))
                    .arg(event.words);
    }
    return text;
}
