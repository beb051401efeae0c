#include "tests/support/Office.h"

#include <QTest>

using namespace Qt::StringLiterals;
using Panel = OperatorConsole::Panel;

/// The sender against a real modem driver, a simulated modem on a pseudo-terminal and a real database.
class QueueSenderTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Office> m_office;

    void queueMany(int count)
    {
        for (int i = 1; i <= count; ++i)
            m_office->addRow(u"SMS_Queues"_s, u"ToMB, MsgContent, MsgStatus"_s,
                             {1000 + i, u"第%1条"_s.arg(i), 0});
    }
    [[nodiscard]] QString statuses() { return m_office->table(u"SMS_Queues"_s, u"MsgStatus"_s).join(u' '); }
    [[nodiscard]] QStringList sentNumbers() const
    {
        QStringList numbers;
        const auto sent = m_office->simulator().sent();
        for (const SentMessage &message : sent)
            numbers += message.number;
        return numbers;
    }
    void tick() { m_office->passes().send(); }

private slots:
    void init()
    {
        m_office = std::make_unique<Office>();
        QVERIFY(sentNumbers().isEmpty()); // plugged in
    }
    void cleanup()
    {
        QCOMPARE(m_office->console.panelText(Panel::ToSend), u"0"_s);
        QCOMPARE(m_office->console.takeLog(), QStringList());
    }

    void unpluggedInTheMiddleEveryMessageIsSentOnce()
    {
        queueMany(100);
        // About 40 messages: the line breaks in the middle of one of them.
        m_office->simulator().command(u"unplug-after 4000"_s);
        tick();
        QCOMPARE(m_office->console.panelText(Panel::ToSend), u"0"_s);
        const auto before = sentNumbers().size();
        QVERIFY(before > 5 && before < 95);
        tick(); // still away
        m_office->simulator().command(u"plug"_s);
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
        tick();
        QCOMPARE(statuses(), u"8 8 0"_s);
    }
};

QTEST_GUILESS_MAIN(QueueSenderTest)
#include "QueueSenderTest.moc"
