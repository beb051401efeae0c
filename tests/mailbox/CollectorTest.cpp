#include "mailbox/Collector.h"
#include "tests/support/MailOffice.h"
#include "tests/support/Rows.h"

using namespace Qt::StringLiterals;

/// The server's side of the collecting process, which a shell plays here: it can die at any word.
class CollectorTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<MailOffice> m_office;
    std::unique_ptr<Collector> m_collector;

    /// script: runs once the order was read into $order; "say" tells the server something.
    void collectWith(const QString &script)
    {
        const QString body =
            u"read -r order; printf '%s\\n' \"$order\" >> orders; say() { echo \"$1\"; }; "_s + script;
        m_collector = std::make_unique<Collector>(
            Collector::Program{u"/bin/sh"_s, {u"-c"_s, u"cd %1; %2"_s.arg(m_office->path(u""_s), body)}},
            m_office->session, m_office->console, m_office->faults, m_office->guard);
    }
    /// One tick, to the end of its process. Returns what was logged.
    QStringList pass()
    {
        const auto before = orders().size();
        m_collector->pass();
        auto *process = m_collector->findChild<QProcess *>();
        if (!QTest::qWaitFor([&] { return process->state() == QProcess::NotRunning; }) ||
            orders().size() == before)
            return {u"no end"_s};
        return m_office->console.takeLog();
    }
    [[nodiscard]] QStringList orders() const
    {
        QFile file(m_office->path(u"orders"_s));
        if (!file.open(QIODevice::ReadOnly))
            return {};
        return QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts);
    }

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
        const Rows<QString, QStringList, QString> row("script", "logs",
                                                      "order"); // of three ticks, of the third
        const QString account = u"say '[\"account\",\"7\",\"box\"]'; "_s;
        const QString mail = account + u"say '[\"mail\",\"7\",\"a\\\"b\"]'; "_s;
        const QString plain = u"box：邮件 a\"b 使收取进程中止（%1），将以原文附件保存"_s;
        const QString left = u"box：邮件 a\"b 使收取进程中止（%1），已留在服务器上，本次运行不再收取"_s;
        const QString died = u"外部邮件收取进程失败：进程意外中止（信号 9）"_s;
        const QString ill = u"外部邮件收取进程失败：bad"_s;
        const QString nothing = u"[[],[],[],[],false]"_s;
        const QString theMail = u"[[[\"7\",\"a\\\"b\"]],[],[],[[\"7\",\"a\\\"b\"]],false]"_s;
        row("in a mail", mail + u"kill -11 $$"_s,
            {plain.arg(u"信号 11"_s), left.arg(u"信号 11"_s), left.arg(u"信号 11"_s)}, theMail);
        row("with a status", mail + u"exit 3"_s,
            {plain.arg(u"状态 3"_s), left.arg(u"状态 3"_s), left.arg(u"状态 3"_s)}, theMail);
        row("after a mail", mail + u"say '[\"end\"]'; kill -9 $$"_s,
            {died, u"box 两次使收取进程中止，本次运行不再收取"_s, {}}, u"[[],[\"7\"],[],[],true]"_s);
        row("before any account", u"kill -9 $$"_s, {died, {}, {}}, u"[[],[],[],[],true]"_s);
        const QString history = u"[\"\",\"\",[],0,\"\",0,false,\"\",\"\",true]"_s;
        row("ids change", account + u"say '[\"history\",\"7\",%1]'"_s.arg(history),
            {u"box：邮件服务器每次都更换邮件标识，同样的邮件会重复保存"_s, {}, {}},
            u"[[],[],[[\"7\",%1]],[],false]"_s.arg(history));
        row("told a fault, then well", u"[ -e once ] || say '[\"failed\",true,\"bad\"]'; touch once"_s,
            {ill, u"外部邮件收取进程恢复正常"_s, {}}, nothing);
        row("said rubbish", u"say ']['; say 1; say '[\"mail\"]x'; head -c 100000 /dev/zero"_s, {{}, {}, {}},
            nothing);
    }
    void deaths()
    {
        QFETCH(QString, script);
        QFETCH(QStringList, logs);
        collectWith(script);
        for (const QString &log : qAsConst(logs))
            QCOMPARE(pass().join(u'|'), log);
        QTEST(orders().constLast(), "order");
    }

    void oneAtATimeAndStopsAtOnce()
    {
        collectWith(u"trap '' TERM; exec sleep 1000"_s);
        m_collector->pass();
        QTRY_COMPARE(m_office->console.activities, QStringList(u"正在收取外部邮件"_s));
        m_collector->pass();
        QCOMPARE(orders().size(), 1);
        m_collector->stop();
        QCOMPARE(m_collector->findChild<QProcess *>()->state(), QProcess::NotRunning);
    }

    void nothingToCollectStartsNothing()
    {
        collectWith(u"true"_s);
        m_office->oa(u"delete from SA_email"_s);
        m_collector->pass();
        m_office->account(1, u"ann"_s, 110);
        m_office->oa(u"update VO_UserInfor set AccountState='0'"_s);
        m_collector->pass();
        QVERIFY(!QFile::exists(m_office->path(u"orders"_s)));
        m_office->oa(u"drop table SA_email"_s);
        QVERIFY_THROWS_EXCEPTION(DatabaseFault, m_collector->pass());
    }

    void programThatIsNotThere()
    {
        m_collector = std::make_unique<Collector>(Collector::Program{u"/no/such"_s, {}}, m_office->session,
                                                  m_office->console, m_office->faults, m_office->guard);
        QStringList log;
        for (int tick = 0; tick < 2; ++tick) {
            m_collector->pass();
            QVERIFY(QTest::qWaitFor([&] { return !(log += m_office->console.takeLog()).isEmpty(); }));
        }
        QCOMPARE(log.size(), 1);
        QVERIFY(m_office->console.activities.isEmpty());
    }
};

QTEST_GUILESS_MAIN(CollectorTest)
#include "CollectorTest.moc"
