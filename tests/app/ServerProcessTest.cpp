#include "tests/support/ServerProcess.h"
#include "foundation/Settings.h"
#include "tests/support/Office.h"
#include "tests/support/SimulatorProcess.h"

#include <QRegularExpression>
#include <QTest>
#include <array>
#include <csignal>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

/// Milliseconds that a condition may take to come true on a machine that is busy with other work.
constexpr int patience = 60000;

} // namespace

class ServerProcessTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Office> m_office;

    [[nodiscard]] QStringList unattended(const QStringList &more = {}) const
    {
        return QStringList{u"--headless"_s, u"--start"_s, u"--settings"_s, m_office->registry.fileName()} +
               more;
    }
    void configure(const SimulatorProcess &modem) { m_office->configureModem(modem.devicePath(), 1); }
    void queue(int messages)
    {
        for (int i = 0; i < messages; ++i)
            m_office->oa(u"insert into SMS_Queues (SOAID, ToUser, ToMB, MsgContent, MsgStatus, RetryCount) "
                         "values (-1, '', ?, 'x', '0', 0)"_s,
                         {u"138%1"_s.arg(i, 8, 10, QChar(u'0'))});
    }
    [[nodiscard]] static QString read(const QString &name)
    {
        QFile file(name);
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }
    [[nodiscard]] int count(const QString &sql) { return m_office->rows(sql).constFirst().toInt(); }

private slots:
    void init() { m_office = std::make_unique<Office>(); }

    void answersOnTheTerminal_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("said");
        QTest::newRow("--nonsense") << 2 << u"nonsense"_s;
        QTest::newRow("--version") << 0 << u"sms-server"_s;
        QTest::newRow("--show-settings") << 0 << u"ConnectString=Provider=SQLite"_s;
        QTest::newRow("--check") << 1 << u"没有配置短信中心号码"_s;
        QTest::newRow("--headless --log-file /no/where/log") << 1 << u"/no/where/log"_s;
        QTest::newRow("--set COM7=/dev/x --set Servers=several") << 1 << u"没有会话锁"_s;
        QTest::newRow(
            "--set COM7=/dev/x --set Servers=several --set ConnectString=DRIVER=SQLite3;Database=/x")
            << 1 << u"没有会话锁"_s;
        for (const char *value :
             {"CenterCode=+86-138", "TimeDelay=0.4", "ServerPort=COM3", "ServerPort=32768",
              "ConnectString=Provider=Nope", "COM4=ttyUSB0", "SenderCountryCode=+86", "MailTls=always",
              "MailHiddenText=yes", "ProductUrl=javascript:x"})
            QTest::addRow("--set COM7=/dev/x --set %s", value)
                << 1 << QString::fromLatin1(value).section(u'=', 0, 0) + u" 没有写入："_s;
    }
    void answersOnTheTerminal()
    {
        ServerProcess server(QStringList{u"--settings"_s, m_office->registry.fileName()} +
                             QString::fromLatin1(QTest::currentDataTag()).split(u' '));
        QVERIFY(server.waitForFinished());
        QTEST(server.exitCode(), "status");
        QFETCH(QString, said);
        const QString all = QString::fromUtf8(server.readAllStandardOutput()) + server.errors();
        QVERIFY2(all.contains(said), qPrintable(all));
        QCOMPARE(m_office->registry.read(Settings::comDevicePath(7)), QString()); // all or none
    }

    void theConnectStringComesFromStandardInput()
    {
        ServerProcess server(
            {u"--settings"_s, m_office->registry.fileName(), u"--set"_s, u"ConnectString=-"_s});
        server.write("Provider=SQLite;Data Source=/tmp/中文.db\n");
        server.closeWriteChannel();
        QVERIFY(server.waitForFinished());
        QCOMPARE(m_office->registry.read(Settings::connectStringPath()),
                 u"Provider=SQLite;Data Source=/tmp/中文.db"_s);
    }

    void messageBoxesBecomeLogLinesAndTheLogFileHoldsThemOldestFirst()
    {
        const QString log = m_office->path(u"log"_s);
        ServerProcess server(unattended({u"--log-file"_s, log}));
        QVERIFY(server.waitForFinished());
        QCOMPARE(server.exitCode(), 3); // a person has to act
        static const QRegularExpression lines(
            u"^[-0-9]{10} [:0-9]{8} 成功连接数据库\n[-0-9]{10} [:0-9]{8} 请首先[^\n]*\n[^\n]*参数不完整[^\n]*\n$"_s);
        QVERIFY2(lines.match(read(log)).hasMatch(), qPrintable(read(log)));
    }

    void theStopSignalFinishesTheMessageInHand()
    {
        constexpr int messages = 50;
        const SimulatorProcess modem({u"--latency"_s, u"40"_s});
        configure(modem);
        queue(messages);
        {
            ServerProcess server(unattended({u"--screenshot"_s, m_office->path(u"end.png"_s)}));
            QTRY_VERIFY_WITH_TIMEOUT(modem.sent().size() >= 5, patience);
            QVERIFY(server.end(SIGINT));
            QCOMPARE(server.exitCode(), 0);
            QVERIFY2(server.errors().contains(u"释放 COM3端口成功！"_s), qPrintable(server.errors()));
            QVERIFY(QFile::exists(m_office->path(u"end.png"_s)));
        }
        const int done = count(u"select count(*) from SMS_Queues where MsgStatus='8'"_s) +
                         count(u"select count(*) from SMS_ResultDetail"_s);
        QVERIFY(done < messages);
        QCOMPARE(modem.sent().size(), done);
        ServerProcess again(unattended());
        QTRY_COMPARE_WITH_TIMEOUT(count(u"select count(*) from SMS_ResultDetail where IsSuccess='1'"_s),
                                  messages, patience);
        QStringList numbers;
        for (const SentMessage &message : modem.sent())
            numbers += message.number;
        QCOMPARE(numbers.size(), messages);
        QCOMPARE(numbers.removeDuplicates(), 0);
        QVERIFY(again.end(SIGTERM));
    }

    void aManagerHearsSignsOfLifeAlsoFromInsideALongPass()
    {
        const int manager = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        const auto closeManager = qScopeGuard([manager] { ::close(manager); });
        sockaddr_un address = {.sun_family = AF_UNIX, .sun_path = {}};
        qstrncpy(address.sun_path, qPrintable(m_office->path(u"manager"_s)), sizeof address.sun_path);
        QCOMPARE(::bind(manager, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
        QStringList heard;
        const auto hears = [&](const QString &text) {
            std::array<char, 4096> octets = {};
            for (ssize_t size = 0; (size = ::recv(manager, octets.data(), octets.size(), 0)) > 0;)
                heard += QString::fromUtf8(octets.data(), size);
            return !heard.filter(text).isEmpty();
        };
        qputenv("NOTIFY_SOCKET", address.sun_path);
        qputenv("WATCHDOG_USEC", "400000"); // a sign every 100 ms
        const SimulatorProcess modem({u"--latency"_s, u"1000"_s});
        configure(modem);
        queue(3); // a pass of three seconds
        ServerProcess server(unattended());
        qunsetenv("NOTIFY_SOCKET");
        qunsetenv("WATCHDOG_USEC");
        QTRY_VERIFY_WITH_TIMEOUT(hears(u"STATUS=正在发送..."_s), patience);
        QVERIFY(heard.contains(u"READY=1"_s));
        heard.clear();
        QTRY_VERIFY_WITH_TIMEOUT(hears(u"STATUS="_s), patience);
        const auto signs = heard.count(u"WATCHDOG=1"_s);
        QVERIFY2(signs >= 10, qPrintable(heard.join(u' ')));
        QVERIFY(server.end(SIGTERM));
        QVERIFY(hears(u"STOPPING=1"_s));
    }

    void hangupOpensTheLogAnewAndTheFiguresAreWritten()
    {
        SimulatorProcess modem;
        modem.command(u"refuse 1 1"_s);
        modem.command(u"signal 20"_s);
        configure(modem);
        queue(2);
        const QString log = m_office->path(u"log"_s);
        const QString figures = m_office->path(u"figures"_s);
        const mode_t usual = ::umask(077); // as under the service manager
        ServerProcess server(unattended({u"--log-file"_s, log, u"--metrics"_s, figures}));
        ::umask(usual);
        QTRY_VERIFY_WITH_TIMEOUT(read(log).contains(u"短信发送失败"_s), patience);
        QVERIFY(QFile::permissions(log).testFlags(QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup));
        QVERIFY(!QFile::permissions(log).testFlag(QFile::ReadOther));
        QVERIFY(QFile::rename(log, log + u".1"_s));
        QCOMPARE(::kill(pid_t(server.processId()), SIGHUP), 0);
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(log), patience);
        for (const auto &line :
             {u"\nsms_sent_total 1\n"_s, u"\nsms_failed_total{cause=\""_s, u"\nsms_queue_waiting 0\n"_s,
              u"\nsms_modem_up 1\n"_s, u"\nsms_modem_signal_dbm -73\n"_s,
              u"\nsms_pass_last_duration_seconds{pass=\"collect\"} "_s})
            QTRY_VERIFY2_WITH_TIMEOUT(read(figures).contains(line), qPrintable(read(figures)), patience);
        QVERIFY(server.end(SIGTERM));
        QVERIFY2(read(log).endsWith(u"释放 COM3端口成功！\n"_s), qPrintable(read(log)));
    }

    void theSecondStartEndsAndAKilledFirstDoesNotHinderTheNext()
    {
        const SimulatorProcess modem;
        configure(modem);
        ServerProcess first(unattended());
        QTRY_VERIFY_WITH_TIMEOUT(first.errors().contains(u"端口成功"_s), patience);
        ServerProcess second(unattended());
        QVERIFY(second.waitForFinished());
        QCOMPARE(second.exitCode(), 0);
        QVERIFY2(second.errors().contains(u"已请它显示窗口"_s), qPrintable(second.errors()));
        QCOMPARE(first.state(), QProcess::Running);
        QVERIFY(first.end(SIGKILL));
        ServerProcess third(unattended());
        QTRY_VERIFY_WITH_TIMEOUT(third.errors().contains(u"端口成功"_s), patience);
        QVERIFY(third.end(SIGTERM));
    }
};

QTEST_GUILESS_MAIN(ServerProcessTest)
#include "ServerProcessTest.moc"
