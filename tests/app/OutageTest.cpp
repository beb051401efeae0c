#include "foundation/Settings.h"
#include "tests/support/Office.h"

#include <QFile>
#include <QProcess>
#include <QSet>
#include <QTest>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

/// Milliseconds that a condition may take to come true on a machine that is busy with other work.
constexpr int patience = 120000;

/// Name of the database server in the hosts file that the server program sees.
const QString serverName = u"oa-database.test"_s;

} // namespace

/// The built server in daily life: its database server goes away and comes back.
class OutageTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Office> m_office;
    std::unique_ptr<SimulatorProcess> m_modem;
    std::unique_ptr<QProcess> m_server;

    [[nodiscard]] QString path(const QString &name) const { return m_office->path(name); }

    void writeHosts(const QString &address)
    {
        // In place: the server program has the file itself bound over the machine's.
        QFile hosts(path(u"hosts"_s));
        QVERIFY(hosts.open(QIODevice::ReadWrite));
        hosts.resize(0);
        hosts.write("127.0.0.1 localhost\n"_ba + (address + u' ' + serverName + u'\n').toLatin1());
    }

    void startServer(DatabaseRoute route)
    {
        m_office = std::make_unique<Office>(route);
        m_modem = std::make_unique<SimulatorProcess>(QStringList{u"--latency"_s, u"10"_s});
        writeHosts(serverOf(route).address());
        m_office->registry.write(Settings::connectStringPath(),
                                 m_office->connectString().replace(serverOf(route).address(), serverName));
        m_office->configureModem(m_modem->devicePath(), 1);
        m_server = std::make_unique<QProcess>();
        m_server->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        QStringList arguments{u"--mount"_s};
        if (::geteuid() != 0)
            arguments += u"--map-root-user"_s;
        arguments += {u"sh"_s, u"-c"_s, u"mount --bind \"$0\" /etc/hosts && exec \"$@\""_s, path(u"hosts"_s)};
        arguments += {QStringLiteral(SERVER_PROGRAM), u"--headless"_s, u"--start"_s};
        arguments += {u"--settings"_s, path(u"settings.ini"_s), u"--log-file"_s, path(u"log"_s)};
        m_server->start(u"unshare"_s, arguments);
        QTRY_COMPARE_WITH_TIMEOUT(logged(u"端口成功"_s).size(), 1, patience);
    }

    QStringList logged(const QString &text) const
    {
        QFile log(path(u"log"_s));
        return log.open(QIODevice::ReadOnly) ? QString::fromUtf8(log.readAll()).split(u'\n').filter(text)
                                             : QStringList();
    }
    [[nodiscard]] int count(const QString &what)
    {
        return m_office->rows(u"select count(*) from "_s + what).constFirst().toInt();
    }
    void schedule(int number)
    {
        m_office->oa(
            u"insert into SMS_WaitToSend (ToSendDT, FromUserName, ToUserList, ToNameList, CreateDT,"
            " MsgType, MsgContent) values ('2006-01-01', 'boss', 'zhang', '', '2006-01-01', '0', ?)"_s,
            {u"第%1条"_s.arg(number)});
    }

private slots:
    void cleanup()
    {
        if (m_server) {
            m_server->terminate();
            QVERIFY(m_server->waitForFinished(patience));
        }
        m_server.reset();
        m_office.reset();
        m_modem.reset();
    }

    void databaseServerStopsAtOnceAgainAndAgain_data()
    {
        QTest::addColumn<DatabaseRoute>("route");
        QTest::newRow("PostgreSQL") << DatabaseRoute::PostgreSql;
        QTest::newRow("MariaDB") << DatabaseRoute::MariaDb;
    }
    void databaseServerStopsAtOnceAgainAndAgain()
    {
        QFETCH(DatabaseRoute, route);
        constexpr int out = 120;
        constexpr int in = 20;
        constexpr int stops = 2;
        startServer(route);
        m_office->oa(u"insert into VO_UserInfor (UserName, Mobile) values ('zhang', '13800000001')"_s);
        int scheduled = 0;
        const auto scheduleUpTo = [&](int share, int of) {
            for (; scheduled < out * share / of; ++scheduled)
                schedule(scheduled);
        };
        int delivered = 0;
        const auto deliverUpTo = [&](int share, int of) {
            for (; delivered < in * share / of; ++delivered)
                m_modem->command(u"deliver +8613900139000 来信%1"_s.arg(delivered));
        };
        for (int stop = 1; stop <= stops; ++stop) {
            scheduleUpTo(stop, stops + 1);
            // Wherever in its work the program then is.
            QTRY_VERIFY_WITH_TIMEOUT(m_modem->sent().size() >= out * (2 * stop - 1) / (2 * stops + 2),
                                     patience);
            deliverUpTo(2 * stop - 1, 2 * stops + 1);
            serverOf(route).stop();
            deliverUpTo(2 * stop, 2 * stops + 1);
            serverOf(route).start();
            m_office->reopen();
            QTRY_COMPARE_WITH_TIMEOUT(logged(u"数据库连接恢复正常"_s).size(), stop, patience);
        }
        scheduleUpTo(1, 1);
        deliverUpTo(1, 1);
        QTRY_COMPARE_WITH_TIMEOUT(count(u"SMS_ResultDetail where IsSuccess='1'"_s), out, patience);
        QTRY_VERIFY_WITH_TIMEOUT(m_modem->isEmpty(), patience);

        QCOMPARE(count(u"SMS_WaitToSend"_s) + count(u"SMS_Queues"_s), 0);
        QCOMPARE(count(u"SMS_SendList"_s), out);
        QSet<QString> texts;
        const auto sent = m_modem->sent();
        for (const SentMessage &message : sent)
            texts.insert(message.text);
        QCOMPARE(texts.size(), out);
        const auto twice = sent.size() - out;
        QVERIFY2(twice <= stops, qPrintable(QString::number(twice)));
        QCOMPARE(count(u"(select distinct MsgContent from SMS_SIMReceive) t"_s), in);
        QCOMPARE(count(u"SMS_SIMReceive"_s), in);
        QCOMPARE(logged(u"失败"_s), logged(u"数据库连接失败"_s));
        QCOMPARE(logged(u"数据库连接失败"_s).size(), stops);
        QCOMPARE(logged(u"恢复正常"_s).size(), stops);
    }

    void serverMovesToAnotherAddress_data() { addRoutes(serverRoutes); }
    void serverMovesToAnotherAddress()
    {
        QFETCH(DatabaseRoute, route);
        startServer(route);
        serverOf(route).stop();
        QTRY_COMPARE_WITH_TIMEOUT(logged(u"数据库连接失败"_s).size(), 1, patience);
        serverOf(route).start(u"127.0.0.2"_s);
        const auto back = qScopeGuard([&] {
            serverOf(route).stop();
            serverOf(route).start();
        });
        m_office->reopen();
        m_office->oa(u"insert into VO_UserInfor (UserName, Mobile) values ('zhang', '13800000001')"_s);
        schedule(1);
        writeHosts(u"127.0.0.2"_s);
        QTRY_COMPARE_WITH_TIMEOUT(count(u"SMS_ResultDetail where IsSuccess='1'"_s), 1, patience);
        QCOMPARE(logged(u"数据库连接"_s).filter(u"失败"_s).size(), 1);
        QCOMPARE(logged(u"恢复正常"_s).size(), 1);
        m_office.reset();
    }
};

QTEST_GUILESS_MAIN(OutageTest)
#include "OutageTest.moc"
