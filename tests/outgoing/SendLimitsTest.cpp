#include "outgoing/SendLimits.h"
#include "tests/support/Office.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

/// After so many seconds so many tries of one SMS each: how many go, how many lines the log gets.
struct Tries {
    int seconds = 0;
    int tries = 0;
    int sent = 0;
    int lines = 0;
    bool isInGap = false;     ///< then
    bool isRestarted = false; ///< before
    qint64 set = 0;           ///< seconds by which a hand sets the wall clock before
};

} // namespace

Q_DECLARE_METATYPE(QList<Tries>)
Q_DECLARE_METATYPE(SendLimits::Values)

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
            if (const auto until = m_limits->restsUntil(1)) {
                m_limits->rest(*until, most - sent);
                return sent;
            }
            m_limits->count();
        }
        m_limits->allSent();
        return most;
    }
    [[nodiscard]] QByteArray ledger() const
    {
        QFile file(m_office->path(u"sends"_s));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

private slots:
    void init()
    {
        m_office = std::make_unique<Office>();
        m_values = {};
        restart();
    }
    void cleanup() { QCOMPARE(m_office->console.takeLog(), QStringList()); }

    void whatMayGo_data()
    {
        QTest::addColumn<SendLimits::Values>("values");
        QTest::addColumn<QList<Tries>>("tries");
        const auto row = [](const char *name, const SendLimits::Values &values, const QList<Tries> &tries) {
            QTest::newRow(name) << values << tries;
        };
        row("no limit", {}, {{.tries = 1000, .sent = 1000}});
        // A new run tells it anew; room comes message by message and is told once.
        row("any sixty minutes", {.perHour = 3},
            {{0, 1, 1},
             {3000, 5, 2, 1},
             {0, 5, 0, 1, false, true},
             {0, 5, 0},
             {599, 5, 0}, // the first is 3599 seconds old
             {2, 5, 1, 1},
             {0, 5, 0},
             {3000, 1, 1}});
        row("a day, and the gap, which is not told", {.perDay = 2, .gap = std::chrono::seconds(5)},
            {{0, 2, 1, 0, true}, {4, 1, 0, 0, true}, {1, 2, 1, 1}, {86000, 1, 0}, {400, 1, 1, 1, true}});
        constexpr qint64 day = 86400;
        row("clock set back", {.perHour = 1},
            {{0, 1, 1}, {.tries = 1, .lines = 1, .set = -day}, {3601, 1, 1, 1}});
        row("clock set back, a restart, and right again", {.perHour = 1},
            {{0, 1, 1},
             {.tries = 1, .lines = 1, .set = -day},
             {0, 1, 0, 1, false, true},
             {.seconds = 1800, .tries = 1, .set = day},
             {1801, 1, 1, 1}});
        // Nobody can know that it is wrong; what was sent before counts again when it is right.
        row("clock of tomorrow at the start", {.perHour = 2},
            {{0, 2, 2},
             {0, 1, 1, 0, false, true, day},
             {.tries = 1, .lines = 1, .set = -day},
             {3601, 1, 1, 1}});
        row("clock of long ago at the start", {.perHour = 1},
            {{0, 1, 1},
             {0, 1, 0, 1, false, true, -9999 * day},
             {3601, 1, 1, 1},
             {.tries = 1, .lines = 1, .set = 9999 * day},
             {0, 1, 0, 1, false, true},
             {3601, 1, 1, 1}});
        row("clock of tomorrow", {.perHour = 1},
            {{.tries = 1, .sent = 1, .set = day},
             {.tries = 1, .lines = 1, .set = -day},
             {0, 1, 0, 1, false, true},
             {3601, 1, 1, 1}});
        row("file is bounded", {.perHour = 10}, QList<Tries>(100, {.seconds = 400, .tries = 1, .sent = 1}));
    }
    void whatMayGo()
    {
        QFETCH(SendLimits::Values, values);
        QFETCH(QList<Tries>, tries);
        m_values = values;
        restart();
        for (const Tries &step : std::as_const(tries)) {
            m_office->clock.advanceSeconds(step.seconds);
            m_office->clock.set(m_office->clock.now().addSecs(step.set));
            if (step.isRestarted)
                restart();
            QCOMPARE(send(step.tries), step.sent);
            QCOMPARE(m_limits->gapLeft().has_value(), step.isInGap);
            QCOMPARE(m_office->console.takeLog().size(), step.lines);
            QVERIFY(ledger().count('\n') <= (values == SendLimits::Values() ? 0 : 20));
        }
    }

    void anotherHandAtTheFileForgetsNothing()
    {
        m_values = {.perHour = 3};
        restart();
        QCOMPARE(send(2), 2);
        QVERIFY(QFile::resize(m_office->path(u"sends"_s), 0));
        QCOMPARE(send(1), 1);
        restart();
        QVERIFY(m_limits->restsUntil(1));
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
        QVERIFY(m_limits->restsUntil(2));
        QVERIFY(!m_limits->restsUntil(1));
        QVERIFY(m_limits->restsUntil(4)); // larger than the limit: an empty hour will do
    }

    void damage_data()
    {
        QTest::addColumn<QByteArray>("damage"); // put in the place of the last octets
        QTest::addColumn<int>("mayGo");         // of 3 an hour, after one
        QTest::addColumn<bool>("isTold");
        QTest::newRow("line cut") << QByteArray("") << 2 << false;
        QTest::newRow("octet changed") << QByteArray("?\n") << 0 << true;
        QTest::newRow("another file") << QByteArray("\nhello\n") << 0 << true;
    }
    void damage()
    {
        QFETCH(QByteArray, damage);
        QFETCH(int, mayGo);
        QFETCH(bool, isTold);
        m_values = {.perHour = 3};
        restart();
        QCOMPARE(send(1), 1);
        const QByteArray damaged = ledger().chopped(2) + damage;
        QFile file(m_office->path(u"sends"_s));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(damaged) == damaged.size());
        file.close();
        restart();
        QCOMPARE(m_office->console.takeLog().filter(u"已损坏"_s).size(), isTold ? 1 : 0);
        QCOMPARE(send(mayGo), mayGo);
        QVERIFY(m_limits->restsUntil(1));
        restart(); // whole again
    }

    void noRoomForTheLedgerNoSending()
    {
        m_limits = std::make_unique<SendLimits>(m_office->clock, m_office->console,
                                                m_office->path(u"absent/sends"_s));
        m_limits->set({.perHour = 3});
        m_limits->beginPass();
        QVERIFY_EXCEPTION_THROWN(m_limits->count(), Fault);
    }
};

QTEST_GUILESS_MAIN(SendLimitsTest)
#include "SendLimitsTest.moc"
