#include "tests/support/ServerProcess.h"
#include "app/SingleInstance.h"
#include "tests/support/Office.h"
#include "tests/support/SimulatorProcess.h"
#include "tests/support/TextTable.h"

#include <QLocalSocket>
#include <QTest>
#include <array>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

class ServerProcessTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Office> m_office;

    [[nodiscard]] QString settings() const { return m_office->registry.fileName(); }

private slots:
    void init() { m_office = std::make_unique<Office>(); }

    void aManagerHearsSignsOfLifeAlsoFromInsideALongPass()
    {
        const QString address = m_office->path(u"manager"_s);
        QProcess manager; // says what it hears
        manager.start(u"python3"_s, {u"-uc"_s,
                                     u"import socket, sys; s = socket.socket(1, 2); s.bind(sys.argv[1])\n"
                                     "while True: print(s.recv(4096).decode())"_s,
                                     address});
        const auto endManager = qScopeGuard([&] { manager.kill(), manager.waitForFinished(); });
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(address), patience);
        QByteArray heard;
        const auto hears = [&](const char *text) {
            heard += manager.readAllStandardOutput();
            return heard.contains(text);
        };
        qputenv("NOTIFY_SOCKET", address.toUtf8());
        qputenv("WATCHDOG_USEC", "400000"); // a sign every 100 ms
        const SimulatorProcess modem({u"--do"_s, u"latency 1500"_s});
        m_office->configureModem(modem.devicePath(), 1);
        m_office->add(u"SMS_Queues"_s, u"ToMB, MsgContent, MsgStatus"_s, {u"1|x|0"_s});
        ServerProcess server(settings());
        qunsetenv("NOTIFY_SOCKET");
        qunsetenv("WATCHDOG_USEC");
        QTRY_VERIFY_WITH_TIMEOUT(hears("STATUS=正在发送..."), patience);
        QVERIFY(heard.contains("READY=1"));
        heard.clear();
        QTRY_VERIFY_WITH_TIMEOUT(hears("STATUS="), patience);
        QVERIFY2(heard.count("WATCHDOG=1") >= 5, heard);
        QVERIFY(server.end());
        QTRY_VERIFY(hears("STOPPING=1"));
    }

    void hangupOpensTheLogAnewAndTheFiguresAreWritten()
    {
        SimulatorProcess modem;
        modem.command(u"refuse 1 1"_s);
        modem.command(u"signal 20"_s);
        m_office->configureModem(modem.devicePath(), 1);
        m_office->add(u"SMS_Queues"_s, u"ToMB, MsgContent, MsgStatus"_s, {u"1|x|0"_s, u"2|x|0"_s});
        m_office->oa(u"update SMS_Queues set SOAID=-1"_s);
        const QString figures = m_office->path(u"figures"_s);
        const mode_t usual = ::umask(077); // as under the service manager
        ServerProcess server(settings(), ServerProcess::service() + QStringList{u"--metrics"_s, figures});
        ::umask(usual);
        QTRY_VERIFY_WITH_TIMEOUT(server.log().contains(u"短信发送失败"_s), patience);
        const auto permissions = QFile::permissions(server.logFile());
        QVERIFY(permissions.testFlags(QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup));
        QVERIFY(!permissions.testFlag(QFile::ReadOther));
        QVERIFY(QFile::rename(server.logFile(), server.logFile() + u".1"_s));
        QCOMPARE(::kill(pid_t(server.processId()), SIGHUP), 0);
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(server.logFile()), patience);
        for (const auto &line :
             {"\nsms_failed_total{server=\"figures\",cause=\"", "\nsms_queue_waiting{server=\"figures\"} 0\n",
              "\nsms_modem_signal_dbm{server=\"figures\"} -73\n",
              "\nsms_pass_last_success_timestamp_seconds{server=\"figures\",pass=\"collect\"} "})
            QTRY_VERIFY2_WITH_TIMEOUT(readWhole(figures).octets.contains(line), readWhole(figures).octets,
                                      patience);
        std::array<QLocalSocket, 2> strangers; // one talks nonsense without end, the other is silent
        for (QLocalSocket &stranger : strangers)
            stranger.connectToServer(settings() + u".socket"_s);
        strangers[0].write(QByteArray(100'000, 'x'));
        strangers[0].flush();
        const QString status = SingleInstance::ask(settings(), "status").value_or(QString());
        QVERIFY2(status.contains(u"服务已启动\n数据库：已连接\n"_s), qPrintable(status));
        ServerProcess asked(settings(), u"--explain sent -1 1"_s.split(u' '));
        QVERIFY(asked.waitForFinished(patience));
        const QString explained = QString::fromUtf8(asked.readAllStandardOutput());
        QVERIFY2(explained.contains(u"原因：短信猫或网络拒绝"_s), qPrintable(explained));
        QVERIFY(server.end(SIGINT));
        QCOMPARE(server.exitCode(), 0);
        QVERIFY2(server.log().endsWith(u"释放 COM3端口成功！\n"_s), qPrintable(server.log()));
    }

    void howeverItIsStartedItSendsAndAfterAKillAgain_data()
    {
        addRows(uR"(
            case                    | in a shell before it
            streams closed          | exec <&- >&- 2>&-
            reader of errors gone   | exec 2> >(exit)
            no home                 | unset HOME
            no working folder       | cd $(mktemp -d); rmdir "$PWD"
            64 descriptors          | ulimit -n 64
            everything for everybody | umask 0
            process 1 of a container | set -- unshare --pid --fork --mount-proc --propagation unchanged --kill-child "$@"
            )"_s);
    }
    void howeverItIsStartedItSendsAndAfterAKillAgain()
    {
        const QString script = cell("in a shell before it");
        if (script.contains(u"unshare"_s) && ::geteuid() != 0)
            QSKIP("only root may begin such a container");
        const QStringList runner{u"bash"_s, u"-c"_s, script + u"; exec \"$@\""_s, u"bash"_s};
        const SimulatorProcess modem;
        m_office->configureModem(modem.devicePath(), 1);
        m_office->set(u"SendPerHour"_s, u"100"_s);
        for (const auto &number : {u"1"_s, u"2"_s}) {
            m_office->add(u"SMS_Queues"_s, u"ToMB, MsgContent, MsgStatus"_s, {number + u"|x|0"_s});
            ServerProcess server(settings(), ServerProcess::service(), runner);
            // Archived: a kill before its status is written would have it sent again.
            QTRY_VERIFY2_WITH_TIMEOUT(m_office->table(u"SMS_Queues"_s, u"ToMB"_s).isEmpty(),
                                      qPrintable(server.log()), patience);
            QCOMPARE(readWhole(settings() + u".sends"_s).octets.count('\n'),
                     1 + number.toInt()); // behind its first line
            QVERIFY2(!server.log().contains(u"失败"_s), qPrintable(server.log()));
        }
        for (const QString &file : {settings(), settings() + u".sends"_s, settings() + u".running"_s})
            QCOMPARE(QFile::permissions(file) & QFile::Permissions(0x0077), QFile::Permissions());
    }
};

QTEST_GUILESS_MAIN(ServerProcessTest)
#include "ServerProcessTest.moc"
