#include "tests/simulation/Story.h"

#include <QRegularExpression>
#include <QTime>
#include <algorithm>
#include <numeric>
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

/// What may happen, as often as its weight says, in the words of Story: {5..40} is a number, {a|b} one of these; {id}
/// is new and {server} one throughout. Behind ";" stands what happens with it, behind "; in SECONDS" what comes later.
struct Happening {
    int weight;
    QString words;
};
using Happenings = std::vector<Happening>;

const QString waiting = u"waiting {id} {-60|0|{1..120}|{60..300}} {5..200} "
                        "{u{1..6}|u{1..3},u{4..6}|u{1..2},u{3..4},u{5..6}}"_s;

const Happenings work{{8, waiting},
                      {2, waiting + u"; in {0..299} withdraw {id}"_s},
                      {2, waiting + u"; in {0..299} postpone {id} {0..199}"_s},
                      {12, u"mail {id} {internal|external} u{1..6}"_s},
                      {6, u"code {u1|u2} {DYNB|QXNB|DYRC|QXRC}"_s},
                      {6, u"sms {id} 150 u{1..6} {1,2,3|3,1,2|2,2,1,3}"_s},
                      {6, u"sms {id} {5..60} u{1..6}"_s}};

/// What goes wrong with a server or its modem.
const Happenings disturbances{
    {3, u"crash {server} {1..6} {1..20}"_s},
    {5, u"kill {server} {0..149} {1..40}"_s},
    // ... in the middle of a message that comes.
    {3, u"{code {u1|u2} {DYNB|QXNB|DYRC|QXRC}|sms {id} {5..60} u{1..6}}; kill 1 {0..60} {1..40}"_s},
    // A late answer where the network takes its time over a text.
    {8, u"modem {server} edit 1 {AT+CMGF|+CREG} late {15000..40000}; "
        "modem {server} edit 1 > slow {30000..100000}"_s},
    {17, u"modem {server} {refuse {1..5} {1|21|27|38|41|42|47|69|331|500|512}|outage {5000..150000}|"
         "outage {5000..150000}|unplug {100..60000}|restart|restart silent|"
         "edit 1 > late {1000..200000}|edit 1 > slow {1000..100000}|edit 1 > {no-final|restart|late "
         "{1000..250000}}|edit 1 > {no-final|restart}|"
         "edit 1 +CMGL garble {1..4}|edit 1 +CMGR garble 2|"
         "edit 1 {+CMGL|+CMGR|+CMGD|+CREG|AT+CMGF|+CMGS} late {3000..40000}|"
         "answer 1 AT+CMGS ERROR|bare-ok 1|urc-mid-send ^BOOT: 1|urc-mid +CMTI: \"SM\",3}"_s}};
/// ... with the machine or the database of an office with one server. The power of an office with two goes where
/// neither of them nor the database stands.
const Happening alone{8, u"{cut 1 {0..149} {5..90}|stop 1 {1..30}|held {1..40}|full {0..3} {10..120}|"
                         "broken {5|13|30} {5..60} {oa.db|{file}}|broken {5|13|30} {5..60} {file}|"
                         "refusing {5..200}|clock {-3600|-40|90|3700}}"_s};
const Happening apart{8, u"away {server} {5..100}"_s};

/// A modem's store that the server empties while it moves, others take from it and readings are damaged.
const Happenings storeSteps{{12, u"sms {id} 20 u{1..6}"_s},
                            {2, u"modem 1 others remove {1..20}"_s},
                            {1, u"modem 1 sim exchanged{| silent}"_s},
                            {2, u"modem 1 edit 1 {+CMGL|+CMGR} garble {1..4}"_s},
                            {2, u"modem 1 urc +CMTI: \"SM\",{1..20}"_s},
                            {1, u"held {1..10}"_s}};

/// Draws one story. The engine's own numbers only: distributions differ from library to library.
class Teller
{
public:
    explicit Teller(Story &story) : m_story(story), m_chance(story.seed * 2 + 1) {}

    void tellDays()
    {
        if (oneIn(8))
            m_story.servers = 2;
        if (oneIn(5)) // so that all of a day has its room
            m_story.settings +=
                drawn(m_story.length > 1h ? u"SendPerHour={155..190}"_s : u"SendPerHour={5..40}"_s);
        if (oneIn(8))
            m_story.settings += drawn(u"SendGap={1..8}"_s);
        Happenings wrong = disturbances;
        wrong.push_back(m_story.servers > 1 ? apart : alone);
        // A day has fewer events an hour than ten minutes have.
        for (qint64 left = 10 + m_story.length / 1min / 2 + below(8); left > 0; --left)
            tell(oneIn(4) ? wrong : work);
    }

    void tell(const Happenings &happenings)
    {
        const auto weight = [](int sum, const Happening &happening) { return sum + happening.weight; };
        qint64 place = below(std::accumulate(happenings.begin(), happenings.end(), 0, weight));
        auto chosen = happenings.begin();
        while (place >= chosen->weight)
            place -= (chosen++)->weight;
        QString words = chosen->words;
        words.replace(u"{id}"_s, QString::number(++m_lastId))
            .replace(u"{server}"_s, QString::number(1 + below(m_story.servers)))
            .replace(u"{file}"_s, u'{' + ownFiles().join(u'|') + u'}');
        const std::chrono::milliseconds when(below(m_story.length / 1ms));
        for (const QString &part : drawn(words).split(u"; "_s)) {
            const std::chrono::seconds later(part.startsWith(u"in ") ? part.section(u' ', 1, 1).toInt() : 0);
            m_story.events.push_back({when + later, part.startsWith(u"in ") ? part.section(u' ', 2) : part});
        }
    }

private:
    qint64 below(qint64 limit) { return static_cast<qint64>(m_chance() % quint64(limit)); }
    bool oneIn(int times) { return below(times) == 0; }

    QString drawn(QString words)
    {
        static const QRegularExpression innermost(u"\\{([^{}]+)\\}"_s);
        for (auto found = innermost.match(words); found.hasMatch(); found = innermost.match(words))
            words.replace(found.capturedStart(), found.capturedLength(), oneOf(found.captured(1)));
        return words;
    }

    QString oneOf(const QString &choices)
    {
        const QStringList ends = choices.split(u".."_s);
        if (ends.size() > 1)
            return QString::number(ends[0].toInt() + below(ends[1].toInt() - ends[0].toInt() + 1));
        const QStringList all = choices.split(u'|');
        return all[below(all.size())];
    }

    Story &m_story;
    std::mt19937_64 m_chance;
    int m_lastId = 0;
};

Story sorted(Story story)
{
    std::ranges::stable_sort(story.events, {}, &Story::Event::at);
    return story;
}

} // namespace

Story storyOf(quint64 seed, std::chrono::seconds length, std::chrono::seconds interval)
{
    Story story{.seed = seed, .interval = interval, .length = length};
    Teller(story).tellDays();
    return sorted(story);
}

Story storeStory(quint64 seed)
{
    Story story{.seed = seed, .length = 10min};
    story.events = {{1ms, u"modem 1 moves-up "_s + (seed % 2 == 0 ? u"on"_s : u"off"_s)},
                    {1ms, u"modem 1 latency 100"_s}};
    Teller teller(story);
    for (int steps = 0; steps < 1000; ++steps)
        teller.tell(storeSteps);
    return sorted(story);
}

QString Story::text() const
{
    QString text = u"%1 servers, every %2 s"_s.arg(servers).arg(interval.count());
    for (const QString &setting : settings)
        text += u", "_s + setting;
    if (endsAt > 0)
        text += u", %1 at crossing %2"_s.arg(isPowerCut ? u"power cut"_s : u"killed"_s).arg(endsAt);
    for (const Event &event : events)
        text += u"\n  %1 %2  %3"_s.arg(event.at / 24h)
                    .arg(QTime(0, 0).addMSecs(int(event.at % 24h / 1ms)).toString(u"HH:mm:ss.zzz"_s),
                         event.words);
    return text;
}
