#include "mailbox/Collector.h"
#include "platform/files/Files.h"
#include "tests/support/MailOffice.h"
#include "tests/support/Rows.h"

using namespace Qt::StringLiterals;
using namespace CollectorProtocol;

/// The service's side of the collector, which a shell plays here: it can die at any word.
class CollectorTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<MailOffice> m_office;
    std::unique_ptr<Collector> m_collector;

    /// script: runs once the state was read.
    void collectWith(const QString &script)
    {
        const QString body = u"read -r state; echo \"$state\" >> states; "_s + script;
        m_collector = std::make_unique<Collector>(
            Collector::Program{u"/bin/sh"_s, {u"-c"_s, u"cd %1; %2"_s.arg(m_office->path(u""_s), body)}},
            m_office->session, m_office->console, m_office->faults, m_office->guard, m_office->clock);
    }
    static QString saying(const Report &report)
    {
        return u"echo '%1'; "_s.arg(QString::fromLatin1(encode(report).trimmed()));
    }
    /// One tick, to the end of its process. Returns what was logged.
    QStringList pass()
    {
        const auto before = states().size();
        m_collector->pass();
        if (!QTest::qWaitFor([this] { return !m_collector->isCollecting(); }) || states().size() == before)
            return {u"no end"_s};
        return m_office->console.takeLog();
    }
    /// A line each.
    [[nodiscard]] QByteArray states() const { return readWhole(m_office->path(u"states"_s)).octets; }

private slots:
    void init()
    {
        m_office = std::make_unique<MailOffice>();
        m_office->oa(u"insert into SMS_Order (OrderName, IsOrder, isPulic) values ('WBYJ', '1', '1')"_s);
        m_office->oa(u"insert into VO_UserInfor (UserName, AccountState) values ('ann', '1')"_s);
        m_office->account(1, u"ann"_s, 110);
    }
    void cleanup()
    {
        m_collector.reset();
        QCOMPARE(m_office->console.takeLog(), QStringList());
    }

    void deaths_data()
    {
        // Of three ticks; what is known after the second.
        const Rows<QString, QStringList, CollectorState> row("script", "logs", "known");
        const MailKey key{7, u"a\"b"_s};
        const QString account = saying(AccountBegins{7, u"box"_s});
        const QString mail = account + saying(MailBegins{key, u"box"_s});
        const QString plain = u"box：邮件 a\"b 使收取进程中止（%1），将以原文附件保存"_s;
        const QString left = u"box：邮件 a\"b 使收取进程中止（%1），已留在服务器上，本次运行不再收取"_s;
        const QString died = u"外部邮件收取进程失败：进程意外中止（信号 9）"_s;
        const QString ill = u"外部邮件收取进程失败：bad"_s;
        const QString failure = saying(PassFailed{true, u"bad"_s});
        const CollectorState poisoned{.passedOverMails = {key}, .plainMails = {key}};
        row("in a mail", mail + u"kill -11 $$"_s,
            {plain.arg(u"信号 11"_s), left.arg(u"信号 11"_s), left.arg(u"信号 11"_s)}, poisoned);
        row("after a mail", mail + saying(MailEnds()) + u"kill -9 $$"_s,
            {died, u"box 两次使收取进程中止，本次运行不再收取"_s, {}},
            {.passedOverAccounts = {7}, .isOneAtATime = true});
        const AccountHistory changing{.unknownIds = "1", .areIdsChanging = true};
        row("ids change", account + saying(AccountLearnt{7, u"box"_s, changing}),
            {u"box：邮件服务器每次都更换邮件标识，同样的邮件会重复保存"_s, {}, {}},
            {.histories = {{7, changing}}});
        const QString again = saying(PassEnds()) + u"read -r state; echo \"$state\" >> states; "_s;
        row("lives from pass to pass", again + failure + again + saying(PassEnds()) + u"read -r state"_s,
            {{}, ill, u"外部邮件收取进程恢复正常"_s}, {});
        const QString endless = u"echo ']['; echo AAAA; head -c 3000000 /dev/zero; echo; "_s;
        row("said rubbish and no end, then a fault", endless + failure, {ill, {}, {}}, {});
    }
    void deaths()
    {
        QFETCH(QString, script);
        QFETCH(QStringList, logs);
        collectWith(script);
        for (const QString &log : std::as_const(logs))
            QCOMPARE(pass().join(u'|'), log);
        QFETCH(CollectorState, known);
        known.connectString = m_office->session.GetConnectString();
        QVERIFY(decodeState(states().trimmed().split('\n').constLast()) == known);
    }

    void mailboxThatIsNotEmptiedIsToldAfterAnHour()
    {
        collectWith(u"cat reports"_s);
        QStringList log;
        for (const QString &cause : {u"a"_s, u"b"_s, u"c"_s, u"d"_s, u""_s, u"e"_s}) {
            const QByteArray report = encode(AccountEnds{7, u"box"_s, cause});
            QVERIFY(!replaceSynced(m_office->path(u"reports"_s), report).isError());
            log += pass().join(u'|');
            QCOMPARE(m_collector->oldestMailbox().age,
                     std::chrono::minutes(log.size() < 5 ? 30 * log.size() - 30 : 0));
            m_office->clock.advanceSeconds(30 * 60);
        }
        QCOMPARE(log, (QStringList{{}, {}, u"收取box失败：c"_s, {}, u"收取box恢复正常"_s, {}}));
    }

    void oneAtATimeAndStopsAtOnce()
    {
        const QString second = u"if [ -e once ]; then %1 fi; touch once; "_s.arg(saying(PassEnds()));
        collectWith(second + u"trap '' TERM; exec sleep 1000"_s);
        m_collector->pass();
        QTRY_COMPARE(m_office->console.activities, QStringList(u"正在收取外部邮件"_s));
        m_collector->pass();
        QCOMPARE(states().count('\n'), 1);
        m_collector->stop();
        QVERIFY(!m_collector->isCollecting());
        QCOMPARE(pass(), QStringList()); // the service is started again
    }
};

QTEST_GUILESS_MAIN(CollectorTest)
#include "CollectorTest.moc"
