#include "outgoing/QueueSender.h"
#include "tests/support/SimulatorProcess.h"
#include "tests/support/TestOffice.h"

#include <QFile>
#include <QTest>

using namespace Qt::StringLiterals;
using Panel = OperatorConsole::Panel;

namespace
{

/// Short enough for tests, long enough for a busy machine.
ModemLimits shortLimits()
{
    ModemLimits limits;
    limits.prompt = std::chrono::milliseconds(700);
    limits.sendResult = std::chrono::milliseconds(700);
    limits.straggler = std::chrono::milliseconds(300);
    limits.lateReference = std::chrono::milliseconds(300);
    return limits;
}

} // namespace

/// The sender against a real modem driver, a simulated modem on a pseudo-terminal and a real database.
class QueueSenderTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TestOffice> m_office;
    std::unique_ptr<SimulatorProcess> m_simulator;
    std::unique_ptr<ModemControl> m_modem;
    std::unique_ptr<QueueSender> m_sender;

    void queue(const QVariant &number, const QVariant &text, const QVariant &status = u"0"_s)
    {
        m_office->oa(
            u"insert into SMS_Queues (ToMB, MsgContent, MsgStatus, RetryCount) values (?, ?, ?, 0)"_s,
            {number, text, status});
    }
    void queueMany(int count)
    {
        for (int i = 1; i <= count; ++i)
            queue(QString::number(1000 + i), u"第%1条"_s.arg(i));
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
    /// The prescribed line of a failed send, and that a line with its cause follows right behind it.
    void expectFailure(const QString &number)
    {
        const QStringList log = m_office->console.takeLog();
        const qsizetype at = log.indexOf(u"手机号码："_s + number + u"短信发送失败."_s);
        QVERIFY2(at >= 0 && at + 1 < log.size(), qPrintable(log.join(u'\n')));
        QVERIFY2(log[at + 1].startsWith(u"手机号码：%1，失败原因："_s.arg(number)), qPrintable(log[at + 1]));
    }
    [[nodiscard]] QString panels() const
    {
        const RecordingConsole &console = m_office->console;
        return QStringList({console.panelText(Panel::Status), console.panelText(Panel::ToSend),
                            console.panelText(Panel::Succeeded), console.panelText(Panel::Failed)})
            .join(u'|');
    }
    /// One pass, as the timer runs it.
    void tick()
    {
        m_office->guard.runPass(u"短信发送"_s, [this] { m_sender->pass(); });
    }

private slots:
    void init()
    {
        m_office = std::make_unique<TestOffice>();
        m_simulator = std::make_unique<SimulatorProcess>();
        m_modem = std::make_unique<ModemControl>(
            m_office->clock, [this](int) { return m_simulator->devicePath(); }, nullptr, shortLimits());
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

    void emptyQueue()
    {
        tick();
        QCOMPARE(panels(), u"准备就绪|0||"_s);
        m_office->console.setPanelText(Panel::ToSend, u"5"_s);
        tick();
        QCOMPARE(panels(), u"准备就绪|5||"_s);
        QCOMPARE(sentNumbers(), QStringList());
    }

    void oneOfThreeRefused()
    {
        for (const Panel panel : {Panel::ToSend, Panel::Succeeded, Panel::Failed})
            m_office->console.setPanelText(panel, u"10"_s);
        queueMany(3);
        m_simulator->command(u"refuse-number 1002 1"_s);
        tick();
        QCOMPARE(statuses(), u"8 4 8"_s);
        QCOMPARE(panels(), u"正在发送...|10|12|11"_s);
        expectFailure(u"1002"_s);
        tick();
        QCOMPARE(sentNumbers(), QStringList({u"1001"_s, u"1003"_s}));
        QCOMPARE(panels(), u"准备就绪|10|12|11"_s);
    }

    void onlyWaitingRowsAreSelected()
    {
        queue(u"1"_s, u"a"_s, QVariant());
        queue(u"2"_s, u"b"_s, 8);
        queue(u"3"_s, u"c"_s, 4);
        queue(u"4"_s, u"d"_s, u"1"_s);
        queue(u"5"_s, u"e"_s, u"0"_s);
        tick();
        QCOMPARE(sentNumbers(), QStringList(u"5"_s));
        QCOMPARE(statuses(), u"NULL 8 4 1 8"_s);
    }

    void valuesThatCannotBeSent_data()
    {
        QTest::addColumn<QVariant>("number");
        QTest::addColumn<QVariant>("text");
        QTest::newRow("number null") << QVariant() << QVariant(u"x"_s);
        QTest::newRow("text null") << QVariant(u"1"_s) << QVariant();
        QTest::newRow("number empty") << QVariant(u""_s) << QVariant(u"x"_s);
        QTest::newRow("letters") << QVariant(u"abc"_s) << QVariant(u"x"_s);
        QTest::newRow("command injection") << QVariant(u"1\"\rATD112;"_s) << QVariant(u"x"_s);
        QTest::newRow("text beyond 255 parts") << QVariant(u"1"_s) << QVariant(QString(100000, u'长'));
    }
    void valuesThatCannotBeSent()
    {
        QFETCH(QVariant, number);
        QFETCH(QVariant, text);
        queue(number, text);
        queue(u"1005"_s, u"behind it"_s);
        tick();
        QCOMPARE(statuses(), u"4 8"_s);
        expectFailure(number.toString());
        QCOMPARE(sentNumbers(), QStringList(u"1005"_s));
    }

    void textsArriveAsTheyAre_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("empty") << u""_s;
        QTest::newRow("chinese, 70") << QString(70, u'汉');
        QTest::newRow("chinese, 71") << QString(71, u'汉');
        QTest::newRow("quotes and percent") << u"' or 1=1 -- \"%d%s\\ [~]{€}"_s;
        QTest::newRow("160 septets") << QString(160, u'x');
        QTest::newRow("161 septets") << QString(161, u'x');
        QTest::newRow("emoji at the cut") << QString(66, u'汉') + u"😀😀😀"_s;
        QTest::newRow("NUL and control characters") << u"a\0b\x1a\x1b\r\n"_s;
    }
    void textsArriveAsTheyAre()
    {
        QFETCH(QString, text);
        queue(u"+8613800138000"_s, text);
        tick();
        QCOMPARE(statuses(), u"8"_s);
        const auto whole = m_simulator->sentWhole();
        QCOMPARE(whole.size(), 1);
        QCOMPARE(whole.constFirst().text, text);
        QCOMPARE(whole.constFirst().number, u"+8613800138000"_s);
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

    void withoutAResultTheMessageIsFailedAndTheOthersGoOn()
    {
        queueMany(3);
        m_simulator->command(u"accept 1"_s);
        m_simulator->command(u"mute 1"_s);
        tick();
        tick();
        QCOMPARE(statuses(), u"8 4 8"_s);
        QCOMPARE(sentNumbers(), QStringList({u"1001"_s, u"1002"_s, u"1003"_s}));
        expectFailure(u"1002"_s);
    }

    void withoutAPromptTheRowWaitsUpToThreePasses()
    {
        queueMany(2);
        m_simulator->command(u"mute-prompt 1"_s);
        tick();
        QCOMPARE(statuses(), u"0 8"_s);
        QCOMPARE(m_office->console.takeLog().size(), 2); // failed, and over with the second row
        m_simulator->command(u"mute-prompt 2"_s);
        tick();
        QCOMPARE(m_office->console.takeLog().size(), 1);
        tick();
        QCOMPARE(statuses(), u"4 8"_s);
        expectFailure(u"1001"_s);
        QCOMPARE(sentNumbers(), QStringList(u"1002"_s));
    }

    void withoutANetworkTheRowsWait()
    {
        queueMany(2);
        m_simulator->command(u"refuse 1 500"_s);
        m_simulator->command(u"registered 2"_s);
        tick();
        QCOMPARE(statuses(), u"0 0"_s);
        QCOMPARE(panels(), u"正在发送...|0||"_s);
        QCOMPARE(m_office->console.takeLog().size(), 1);
        m_simulator->command(u"registered 1"_s);
        tick();
        tick();
        QCOMPARE(statuses(), u"8 8"_s);
        QVERIFY(m_office->console.takeLog().contains(u"短信发送恢复正常"_s));
    }

    void notTakenIsTriedThreeTimesInAll()
    {
        queueMany(2);
        m_simulator->command(u"refuse-number 1001 500"_s);
        tick();
        tick();
        QCOMPARE(statuses(), u"0 8"_s);
        QCOMPARE(m_office->console.panelText(Panel::Failed), QString());
        tick();
        QCOMPARE(statuses(), u"4 8"_s);
        expectFailure(u"1001"_s);
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

    void refusedStatusUpdateStopsTheSending()
    {
        queueMany(2);
        m_office->oa(u"create trigger t before update on SMS_Queues when old.ToMB='1001' begin"
                     " select raise(abort, 'broken'); end"_s);
        tick();
        tick();
        QCOMPARE(statuses(), u"0 0"_s);
        QCOMPARE(sentNumbers(), QStringList(u"1001"_s));
        QCOMPARE(m_office->console.takeLog().size(), 1);
        m_office->oa(u"drop trigger t"_s);
        tick();
        QCOMPARE(statuses(), u"8 8"_s);
        QCOMPARE(sentNumbers(), QStringList({u"1001"_s, u"1002"_s}));
        QCOMPARE(m_office->console.panelText(Panel::Succeeded), u"2"_s);
        QCOMPARE(m_office->console.panelText(Panel::ToSend), u"0"_s);
    }

    void databaseLostAfterASendNeverSendsTwice()
    {
        queueMany(3);
        bool away = false;
        m_office->console.stopWhen = [&] {
            // Between the first row and the second the database file vanishes.
            if (!away && !sentNumbers().isEmpty())
                away = QFile::rename(m_office->databaseFile(), m_office->path(u"away"_s));
            return false;
        };
        tick();
        QVERIFY(away);
        QCOMPARE(m_office->console.panelText(Panel::ToSend), u"0"_s);
        QCOMPARE(m_office->console.takeLog().size(), 1);
        QVERIFY(QFile::rename(m_office->path(u"away"_s), m_office->databaseFile()));
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
