#include "outgoing/SendLimits.h"
#include "foundation/Settings.h"
#include "tests/support/Office.h"

#include <QFile>
#include <QTest>

using namespace Qt::StringLiterals;

/// The limits by a clock that the test sets, over restarts, on a real file.
class SendLimitsTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Office> m_office;
    std::unique_ptr<SendLimits> m_limits;

    [[nodiscard]] QString ledger() const { return m_office->path(u"sends"_s); }
    void set(QLatin1String name, int value)
    {
        m_office->registry.write(Settings::localPath(name), QString::number(value));
    }
    void restart()
    {
        m_limits =
            std::make_unique<SendLimits>(m_office->registry, m_office->clock, m_office->console, ledger());
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
            m_limits->count(1);
        }
        m_limits->allSent();
        return most;
    }
    void write(const QByteArray &content)
    {
        QFile file(ledger());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
    }
    [[nodiscard]] QByteArray content() const
    {
        QFile file(ledger());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

private slots:
    void init()
    {
        m_office = std::make_unique<Office>();
        restart();
    }
    void cleanup() { QCOMPARE(m_office->console.takeLog(), QStringList()); }

    void noSettingNoLedger()
    {
        QCOMPARE(send(1000), 1000);
        QVERIFY(!QFile::exists(ledger()));
    }

    void anySixtyMinutes()
    {
        set("SendPerHour"_L1, 3);
        QCOMPARE(send(1), 1);
        m_office->clock.advanceSeconds(3000);
        QVERIFY(m_limits->presses(3));
        QVERIFY(!m_limits->presses(2));
        QCOMPARE(send(5), 2);
        QCOMPARE(m_office->console.takeLog(),
                 QStringList{u"已达发送上限，暂停发送到 2006-03-05 08:08:09，等待发送 3 条"_s});
        restart();
        QCOMPARE(send(5), 0);
        QCOMPARE(m_office->console.takeLog().size(), 1); // a new run tells it anew
        QCOMPARE(send(5), 0);
        m_office->clock.advanceSeconds(599); // the first is 3599 seconds old
        QCOMPARE(send(5), 0);
        m_office->clock.advanceSeconds(2); // and room comes message by message, told once
        QCOMPARE(send(5), 1);
        QCOMPARE(m_office->console.takeLog(), QStringList{u"发送上限已有余量，继续发送"_s});
        QCOMPARE(send(5), 0);
        m_office->clock.advanceSeconds(3000);
        QCOMPARE(send(1), 1);
    }

    void dayAndGap()
    {
        set("SendPerDay"_L1, 2);
        set("SendGap"_L1, 5);
        QCOMPARE(send(2), 1);
        QVERIFY(m_limits->gapLeft());
        m_office->clock.advanceSeconds(5);
        QVERIFY(!m_limits->gapLeft());
        QCOMPARE(send(2), 1);
        m_office->clock.advanceSeconds(86000);
        QCOMPARE(send(1), 0);
        QVERIFY(!m_limits->gapLeft());
        QCOMPARE(m_office->console.takeLog().size(), 1);
        m_office->clock.advanceSeconds(400);
        QCOMPARE(send(1), 1);
        QCOMPARE(m_office->console.takeLog().size(), 1);
    }

    void longTextsCountTheirParts()
    {
        QCOMPARE(smsCount(QString(70, u'长')), 1);
        QCOMPARE(smsCount(QString(71, u'长')), 2);
        QCOMPARE(smsCount(QString(160, u'x')), 1);
        set("SendPerHour"_L1, 3);
        m_limits->beginPass();
        m_limits->count(2);
        QVERIFY(m_limits->restsUntil(2));
        QVERIFY(!m_limits->restsUntil(1));
        m_limits->takeBack(); // both
        QVERIFY(!m_limits->restsUntil(3));
        QVERIFY(!m_limits->restsUntil(4)); // larger than the limit: an empty hour will do
        m_limits->count(1);
        QVERIFY(m_limits->restsUntil(4));
    }

    void clockSetBack()
    {
        set("SendPerHour"_L1, 1);
        QCOMPARE(send(1), 1);
        m_office->clock.advanceSeconds(-86400);
        QCOMPARE(send(1), 0);
        m_office->clock.advanceSeconds(3601); // an hour, not a day
        QCOMPARE(send(1), 1);
        QCOMPARE(m_office->console.takeLog().size(), 2);
    }

    void fileIsBounded()
    {
        set("SendPerHour"_L1, 10);
        for (int i = 0; i < 100; ++i) {
            m_office->clock.advanceSeconds(400);
            QCOMPARE(send(1), 1);
            QVERIFY(content().count('\n') <= 20);
        }
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
        set("SendPerHour"_L1, 3);
        QCOMPARE(send(1), 1);
        write(content().chopped(2) + damage);
        restart();
        QCOMPARE(m_office->console.takeLog().filter(u"已损坏"_s).size(), isTold ? 1 : 0);
        QCOMPARE(send(mayGo), mayGo);
        QVERIFY(m_limits->restsUntil(1));
        restart(); // whole again
    }

    void noRoomForTheLedgerNoSending()
    {
        set("SendPerHour"_L1, 3);
        m_limits = std::make_unique<SendLimits>(m_office->registry, m_office->clock, m_office->console,
                                                m_office->path(u"absent/sends"_s));
        m_limits->beginPass();
        QVERIFY_EXCEPTION_THROWN(m_limits->count(1), Fault);
    }
};

QTEST_GUILESS_MAIN(SendLimitsTest)
#include "SendLimitsTest.moc"
