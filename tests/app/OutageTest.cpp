#include "foundation/Settings.h"
#include "tests/support/Office.h"
#include "tests/support/ServerProcess.h"

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
    static constexpr int out = 36;
    static constexpr int in = 10;
    int m_scheduled = 0;
    int m_delivered = 0;

    std::unique_ptr<Office> m_office;
    std::unique_ptr<SimulatorProcess> m_modem;
    std::unique_ptr<ServerProcess> m_server;

    void writeHosts(const QString &address)
    {
        // In place: the server program has the file itself bound over the machine's.
        QFile hosts(m_office->path(u"hosts"_s));
        QVERIFY(hosts.open(QIODevice::ReadWrite));
        hosts.resize(0);
        hosts.write("127.0.0.1 localhost\n"_ba + (address + u' ' + serverName + u'\n').toLatin1());
    }
    [[nodiscard]] QStringList logged(const QString &text) const
    {
        return m_server->log().split(u'\n').filter(text);
    }
    [[nodiscard]] int count(const QString &what)
    {
        return m_office->rows(u"select count(*) from "_s + what).constFirst().toInt();
    }
    void scheduleUpTo(int messages)
    {
        for (; m_scheduled < messages; ++m_scheduled)
            m_office->addRow(u"SMS_WaitToSend"_s, u"ToSendDT, ToUserList, MsgType, MsgContent"_s,
                             {u"2006-01-01"_s, u"zhang"_s, u"0"_s, u"第%1条"_s.arg(m_scheduled)});
    }
    void deliverUpTo(int messages)
    {
        for (; m_delivered < messages; ++m_delivered)
            m_modem->command(u"deliver +8613900139000 来信%1"_s.arg(m_delivered));
    }

private slots:
    void cleanup()
    {
        m_server.reset();
        m_office.reset();
        m_modem.reset();
    }

    void databaseServerStopsAtOnceAndComesBackAlsoElsewhere_data() { addRoutes(serverRoutes); }
    void databaseServerStopsAtOnceAndComesBackAlsoElsewhere()
    {
        auto &databaseServer = serverOf(currentRoute());
        const QString here = databaseServer.address();
        m_office = std::make_unique<Office>(currentRoute());
        m_modem = std::make_unique<SimulatorProcess>(QStringList{u"--latency"_s, u"10"_s});
        m_scheduled = 0;
        m_delivered = 0;
        m_office->addRow(u"VO_UserInfor"_s, u"UserName, Mobile"_s, {u"zhang"_s, u"13800000001"_s});
        writeHosts(here);
        m_office->registry.write(Settings::connectStringPath(),
                                 m_office->connectString().replace(here, serverName));
        m_office->configureModem(m_modem->devicePath(), 1);
        QStringList withHosts = u"unshare --mount sh -c"_s.split(u' ');
        withHosts += {u"mount --bind \"$0\" /etc/hosts && exec \"$@\""_s, m_office->path(u"hosts"_s)};
        if (::geteuid() != 0)
            withHosts.insert(1, u"--map-root-user"_s);
        m_server = std::make_unique<ServerProcess>(m_office->registry.fileName(), ServerProcess::service(),
                                                   withHosts);

        QStringList addresses{here == u"127.0.0.1" ? u"127.0.0.2"_s : u"127.0.0.1"_s};
        if (!isOdbc(currentRoute()))
            addresses.prepend(here);
        const int stops = int(addresses.size());
        for (int stop = 1; stop <= stops; ++stop) {
            scheduleUpTo(out * stop / (stops + 1));
            // Wherever in its work the program then is.
            QTRY_VERIFY_WITH_TIMEOUT(m_modem->sent().size() >= out * (2 * stop - 1) / (2 * stops + 2),
                                     patience);
            deliverUpTo(in * (2 * stop - 1) / (2 * stops + 1));
            databaseServer.stop();
            deliverUpTo(in * 2 * stop / (2 * stops + 1));
            databaseServer.start(addresses[stop - 1]);
            writeHosts(addresses[stop - 1]);
            m_office->reopen();
            QTRY_COMPARE_WITH_TIMEOUT(logged(u"数据库连接恢复正常"_s).size(), stop, patience);
        }
        scheduleUpTo(out);
        deliverUpTo(in);
        QTRY_COMPARE_WITH_TIMEOUT(count(u"SMS_ResultDetail where IsSuccess='1'"_s), out, patience);
        QTRY_VERIFY_WITH_TIMEOUT(m_modem->isEmpty(), patience);

        QCOMPARE(count(u"SMS_WaitToSend"_s) + count(u"SMS_Queues"_s), 0);
        QCOMPARE(count(u"SMS_SendList"_s), out);
        const auto sent = m_modem->sent();
        QSet<QString> texts;
        for (const SentMessage &message : sent)
            texts.insert(message.text);
        QCOMPARE(texts.size(), out);
        QVERIFY2(sent.size() - out <= stops, qPrintable(QString::number(sent.size())));
        QCOMPARE(count(u"(select distinct MsgContent from SMS_SIMReceive) t"_s), in);
        QCOMPARE(count(u"SMS_SIMReceive"_s), in);
        QCOMPARE(logged(u"失败"_s), logged(u"数据库连接失败"_s));
        QCOMPARE(logged(u"数据库连接失败"_s).size(), stops);
        QCOMPARE(logged(u"恢复正常"_s).size(), stops);
        QVERIFY(m_server->end());
    }
};

QTEST_GUILESS_MAIN(OutageTest)
#include "OutageTest.moc"
