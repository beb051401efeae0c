#include "outgoing/QueueSender.h"
#include "tests/support/Office.h"
#include "tests/support/SimulatorProcess.h"

#include <QTest>

using namespace Qt::StringLiterals;
using Panel = OperatorConsole::Panel;

/// The sender against a real modem driver, a simulated modem on a pseudo-terminal and a real database.
class QueueSenderTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Office> m_office;
    std::unique_ptr<SimulatorProcess> m_simulator;
    std::unique_ptr<ModemControl> m_modem;
    std::unique_ptr<QueueSender> m_sender;

    void queueMany(int count)
    {
        for (int i = 1; i <= count; ++i)
            m_office->oa(u"insert into SMS_Queues (ToMB, MsgContent, MsgStatus) values (?, ?, '0')"_s,
                         {QString::number(1000 + i), u"第%1条"_s.arg(i)});
    }
    [[nodiscard]] QString statuses()
    {
        return m_office->rows(u"select MsgStatus from SMS_Queues order by OAID"_s).join(u' ');
    }
    [[nodiscard]] QStringList sentNumbers() const
    {
        QStringList numbers;
        const auto sent = m_simulator->sent();
        for (const SentMessage &message : sent)
            numbers += message.number;
        return numbers;
    }
    /// One pass, as the timer runs it.
    void tick()
    {
        m_office->guard.runPass(u"短信发送"_s, [this] { m_sender->pass(); });
    }

private slots:
    void init()
    {
        m_office = std::make_unique<Office>();
        m_simulator = std::make_unique<SimulatorProcess>();
        m_modem = std::make_unique<ModemControl>(m_office->clock,
                                                 [this](int) { return m_simulator->devicePath(); });
        m_modem->setPortNumber(3);
        m_modem->setServiceCentre(u"+8613800755500"_s);
        connect(m_modem.get(), &ModemControl::notice, this,
                [this](const QString &text) { m_office->console.addLogLine(text); });
        QCOMPARE(m_modem->open(), 0);
        m_sender =
            std::make_unique<QueueSender>(m_office->session, m_office->console, m_office->faults, *m_modem);
    }
    void cleanup()
    {
        QCOMPARE(m_office->console.takeLog(), QStringList());
        m_modem.reset();
    }

    void unpluggedInTheMiddleEveryMessageIsSentOnce()
    {
        queueMany(100);
        // About 40 messages: the line breaks in the middle of one of them.
        m_simulator->command(u"unplug-after 4000"_s);
        tick();
        QCOMPARE(m_office->console.panelText(Panel::ToSend), u"0"_s);
        const int before = int(sentNumbers().size());
        QVERIFY(before > 5 && before < 95);
        tick(); // still away
        m_simulator->command(u"plug"_s);
        tick();
        QStringList sent = sentNumbers();
        QCOMPARE(sent.removeDuplicates(), 0);
        // The one in hand is failed only when its text had been handed over.
        const auto failed = statuses().count(u'4');
        QVERIFY(failed <= 1);
        const QStringList log = m_office->console.takeLog();
        QCOMPARE(log.filter(u"短信发送失败."_s).size(), failed);
        QCOMPARE(log.size() - 2 * failed, 2); // one line when it is gone, one when it is back
        QVERIFY(sent.size() >= 100 - failed);
        QCOMPARE(m_office->console.panelText(Panel::ToSend), u"0"_s);
    }

    void networkThatTakesNothingEndsThePass()
    {
        queueMany(10);
        m_simulator->command(u"refuse 100 500"_s);
        tick();
        QVERIFY(m_simulator->command(u"status"_s).contains(u"refused=3"_s));
        for (int passes = 0; passes < 4; ++passes)
            tick();
        QCOMPARE(statuses(), u"0 0 0 0 0 0 0 0 0 0"_s);
        QCOMPARE(m_office->console.takeLog().size(), 1);
    }

    void databaseLostAfterASendNeverSendsTwice()
    {
        queueMany(3);
        bool away = false;
        m_office->console.stopWhen = [&] {
            // Between the first row and the second the database file vanishes.
            if (!away && !sentNumbers().isEmpty())
                away = m_office->moveDatabaseAway();
            return false;
        };
        tick();
        QVERIFY(away);
        QCOMPARE(m_office->console.panelText(Panel::ToSend), u"0"_s);
        QCOMPARE(m_office->console.takeLog().size(), 1);
        QVERIFY(m_office->moveDatabaseBack());
        QTRY_VERIFY(statuses() == u"8 8 8"_s || (tick(), statuses() == u"8 8 8"_s));
        QCOMPARE(m_office->console.takeLog(), QStringList(u"数据库连接恢复正常"_s));
        QCOMPARE(sentNumbers(), QStringList({u"1001"_s, u"1002"_s, u"1003"_s}));
    }

    void stopRequestEndsThePassAfterTheMessageInHand()
    {
        queueMany(3);
        m_office->console.stopWhen = [this] { return sentNumbers().size() == 2; };
        m_sender->pass();
        QCOMPARE(statuses(), u"8 8 0"_s);
        QCOMPARE(m_office->console.panelText(Panel::ToSend), u"0"_s);
    }
};

QTEST_GUILESS_MAIN(QueueSenderTest)
#include "QueueSenderTest.moc"
