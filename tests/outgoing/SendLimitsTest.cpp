#include "outgoing/SendLimits.h"
#include "platform/files/Files.h"
#include "tests/support/Office.h"
#include "tests/support/TextTable.h"

using namespace Qt::StringLiterals;

/// The limits by a clock that the test sets, over restarts, on a real file.
class SendLimitsTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Office> m_office;
    std::unique_ptr<SendLimits> m_limits;
    SendLimits::Values m_values;

    void restart()
    {
        m_limits =
            std::make_unique<SendLimits>(m_office->clock, m_office->console, m_office->path(u"sends"_s));
        m_limits->set(m_values);
        m_limits->beginPass();
    }
    /// Sends what may go, one SMS each, at most so many. Returns how many went.
    int send(int most)
    {
        m_limits->beginPass();
        for (int sent = 0; sent < most; ++sent) {
            if (const auto hold = m_limits->hold(1)) {
                m_limits->rest(*hold, most - sent);
                return sent;
            }
            m_limits->count();
        }
        m_limits->allSent();
        return most;
    }
    [[nodiscard]] QByteArray ledger() const { return readWhole(m_office->path(u"sends"_s)).octets; }

private slots:
    void init()
    {
        m_office = std::make_unique<Office>();
        m_values = {};
        restart();
    }
    void cleanup() { QCOMPARE(m_office->console.takeLog(), QStringList()); }

    /// Tries: after so many seconds so many tries of one SMS each; how many go; how many lines the log gets. Then
    /// "g": in the gap, "r": restarted before, "b": the machine, too, DAYS: by which a hand sets the wall clock before.
    void whatMayGo_data()
    {
        addRows(uR"(
            limit                | hour | day | gap | tries
            none                 | 0  | 0 | 0 | 0 1000 1000 0
            any sixty minutes    | 3  | 0 | 0 | 0 1 1 0/3000 5 2 1/0 5 0 1 r/0 5 0 0/599 5 0 0/2 5 1 1/0 5 0 0/3000 1 1 0
            a day, and the gap   | 0  | 2 | 5 | 0 2 1 0 g/4 1 0 0 g/1 2 1 1/86000 1 0 0/400 1 1 1 g
            clock set back       | 1  | 0 | 0 | 0 1 1 0/0 1 0 1 -1/3601 1 1 1
            ... then right again | 1  | 0 | 0 | 0 1 1 0/0 1 0 1 -1/0 1 0 1 r/1800 1 0 0 1/1801 1 1 1
            tomorrow at a start  | 2  | 0 | 0 | 0 2 2 0/0 1 0 1 r 1/0 1 0 0 -1/3601 1 1 1
            ... of the machine   | 2  | 0 | 0 | 0 2 2 0/0 1 1 0 b r 1/0 1 0 1 -1/3601 1 1 1
            long ago at a start  | 1  | 0 | 0 | 0 1 1 0/0 1 0 1 r -9999/3601 1 1 1/0 1 0 1 9999/0 1 0 1 r/3601 1 1 1
            clock of tomorrow    | 1  | 0 | 0 | 0 1 1 0 1/0 1 0 1 -1/0 1 0 1 r/3601 1 1 1
            file is bounded      | 10 | 0 | 0 | {100*400 1 1 0/}
            )"_s);
    }
    void whatMayGo()
    {
        m_values = {.perHour = cell("hour").toInt(),
                    .perDay = cell("day").toInt(),
                    .gap = std::chrono::seconds(cell("gap").toInt())};
        restart();
        for (const QString &step : cell("tries").split(u'/', Qt::SkipEmptyParts)) {
            const QStringList words = step.split(u' ');
            m_office->clock.advanceSeconds(words[0].toInt());
            m_office->clock.set(m_office->clock.now().addDays(words.size() > 4 ? words.last().toInt() : 0));
            if (words.contains(u"b"_s))
                m_office->clock.boot();
            if (words.contains(u"r"_s))
                restart();
            QCOMPARE(send(words[1].toInt()), words[2].toInt());
            QCOMPARE(m_limits->gapLeft().has_value(), words.contains(u"g"_s));
            QCOMPARE(m_office->console.takeLog().size(), words[3].toInt());
            QVERIFY(ledger().count('\n') <= (m_values == SendLimits::Values() ? 0 : 21));
        }
    }

    void longTextsCountTheirParts()
    {
        QCOMPARE(smsCount(QString(70, u'长')), 1);
        QCOMPARE(smsCount(QString(71, u'长')), 2);
        QCOMPARE(smsCount(QString(160, u'x')), 1);
        m_values = {.perHour = 3};
        restart();
        m_limits->beginPass();
        QVERIFY(m_limits->presses(4));
        QVERIFY(!m_limits->presses(3));
        m_limits->count();
        m_limits->count();
        QVERIFY(m_limits->hold(2));
        QVERIFY(!m_limits->hold(1));
        QVERIFY(m_limits->hold(4)); // larger than the limit: an empty hour will do
    }

    void damage_data()
    {
        // In the place of the last octets; of 3 an hour, after one.
        addRows(uR"(
            what          | octets      | may go | told
            line cut      |             | 2      | 0
            octet changed | ?\n         | 0      | 1
            another file  | \nhello\n   | 0      | 1
            )"_s);
    }
    void damage()
    {
        m_values = {.perHour = 3};
        restart();
        QCOMPARE(send(1), 1);
        const QByteArray damaged = ledger().chopped(2) + cell("octets").toUtf8();
        QVERIFY(!replaceSynced(m_office->path(u"sends"_s), damaged).isError());
        restart();
        QCOMPARE(m_office->console.takeLog().filter(u"已损坏"_s).size(), cell("told").toInt());
        QCOMPARE(send(cell("may go").toInt()), cell("may go").toInt());
        QVERIFY(m_limits->hold(1));
        restart(); // whole again
    }
};

QTEST_GUILESS_MAIN(SendLimitsTest)
#include "SendLimitsTest.moc"
