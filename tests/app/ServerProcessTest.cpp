#include "tests/support/ServerProcess.h"
#include "app/SingleInstance.h"
#include "foundation/Settings.h"
#include "tests/support/Office.h"
#include "tests/support/SimulatorProcess.h"

#include <QLocalSocket>
#include <QTest>
#include <array>
#include <sys/mount.h>
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

    [[nodiscard]] QString settings() const { return m_office->registry.fileName(); }
    [[nodiscard]] static QString read(const QString &name)
    {
        QFile file(name);
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }

private slots:
    void init() { m_office = std::make_unique<Office>(); }

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
        const SimulatorProcess modem({u"--do"_s, u"latency 1500"_s});
        m_office->configureModem(modem.devicePath(), 1);
        m_office->add(u"SMS_Queues"_s, u"ToMB, MsgContent, MsgStatus"_s, {u"1|x|0"_s});
        ServerProcess server(settings());
        qunsetenv("NOTIFY_SOCKET");
        qunsetenv("WATCHDOG_USEC");
        QTRY_VERIFY_WITH_TIMEOUT(hears(u"STATUS=正在发送..."_s), patience);
        QVERIFY(heard.contains(u"READY=1"_s));
        heard.clear();
        QTRY_VERIFY_WITH_TIMEOUT(hears(u"STATUS="_s), patience);
        const auto signs = heard.count(u"WATCHDOG=1"_s);
        QVERIFY2(signs >= 5, qPrintable(heard.join(u' ')));
        QVERIFY(server.end());
        QVERIFY(hears(u"STOPPING=1"_s));
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
             {u"\nsms_sent_total# 1\n"_s, u"\nsms_failed_total#,cause=\""_s, u"\nsms_queue_waiting# 0\n"_s,
              u"\nsms_modem_up# 1\n"_s, u"\nsms_modem_signal_dbm# -73\n"_s, u"\nsms_modem_sim_ready# 1\n"_s,
              u"\nsms_modem_store_messages#,store=\"SM\"# 0\n"_s, u"\nsms_running# 1\n"_s,
              u"\nsms_pass_faults_total#,pass=\"send\"# 0\n"_s,
              u"\nsms_pass_last_success_timestamp_seconds#,pass=\"collect\"# "_s})
            QTRY_VERIFY2_WITH_TIMEOUT(read(figures)
                                          .remove(u'}')
                                          .replace(u"{server=\"figures\""_s, u"#"_s)
                                          .contains(QString(line).replace(u"\"#"_s, u"\""_s)),
                                      qPrintable(read(figures)), patience);
        std::array<QLocalSocket, 3> strangers; // one talks nonsense without end, the others are silent
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
        QTest::addColumn<QStringList>("runner");
        const auto shell = [](const QString &script) {
            return QStringList{u"bash"_s, u"-c"_s, script + u"exec \"$@\""_s, u"bash"_s};
        };
        QTest::newRow("streams closed") << shell(u"exec <&- >&- 2>&-; "_s);
        QTest::newRow("reader of errors gone") << shell(u"exec 2> >(exit); "_s);
        QTest::newRow("no home") << shell(u"unset HOME; "_s);
        QTest::newRow("no working folder") << shell(u"cd $(mktemp -d); rmdir \"$PWD\"; "_s);
        QTest::newRow("64 descriptors") << shell(u"ulimit -n 64; "_s);
        QTest::newRow("everything for everybody") << shell(u"umask 0; "_s);
        QTest::newRow("process 1 of a container")
            << u"unshare --pid --fork --mount-proc --kill-child"_s.split(u' ');
    }
    void howeverItIsStartedItSendsAndAfterAKillAgain()
    {
        QFETCH(QStringList, runner);
        if (runner.first() == u"unshare" && QProcess::execute(u"unshare"_s, {u"--pid"_s, u"true"_s}) != 0)
            QSKIP("only root may begin such a container");
        const SimulatorProcess modem;
        m_office->configureModem(modem.devicePath(), 1);
        m_office->set(u"SendPerHour"_s, u"100"_s);
        for (const auto &number : {u"1"_s, u"2"_s}) {
            m_office->add(u"SMS_Queues"_s, u"ToMB, MsgContent, MsgStatus"_s, {number + u"|x|0"_s});
            ServerProcess server(settings(), ServerProcess::service(), runner);
            // Archived: a kill before its status is written would have it sent again.
            QTRY_VERIFY2_WITH_TIMEOUT(m_office->table(u"SMS_Queues"_s, u"ToMB"_s).isEmpty(),
                                      qPrintable(server.log()), patience);
            QCOMPARE(read(settings() + u".sends"_s).count(u'\n'),
                     1 + number.toInt()); // behind its first line
            QVERIFY2(!server.log().contains(u"失败"_s), qPrintable(server.log()));
        }
        for (const QString &file : {settings(), settings() + u".sends"_s, settings() + u".running"_s})
            QCOMPARE(QFile::permissions(file) & QFile::Permissions(0x0077), QFile::Permissions());
    }

    void aFullDiskCostsLinesOfTheLogAndSaysHowMany()
    {
        const QString folder = m_office->path(u"small"_s);
        QVERIFY(QDir().mkdir(folder));
        if (::mount("tmpfs", QFile::encodeName(folder), "tmpfs", 0, "size=8k") != 0)
            QSKIP("only root may mount a small file system");
        const auto unmount = qScopeGuard([&] { ::umount2(QFile::encodeName(folder), MNT_DETACH); });
        QFile filler(folder + u"/filler"_s);
        QVERIFY(filler.open(QIODevice::WriteOnly) && filler.write(QByteArray(100000, 'x')) > 0);
        filler.close();
        const SimulatorProcess modem;
        m_office->configureModem(modem.devicePath(), 1);
        const QString log = folder + u"/log"_s;
        ServerProcess server(settings(), ServerProcess::service() + QStringList{u"--log-file"_s, log});
        QTRY_VERIFY_WITH_TIMEOUT(server.errors().contains(u"log 无法写入：磁盘已满"_s) &&
                                     server.errors().contains(u"连接 COM3端口成功！"_s),
                                 patience);
        QCOMPARE(read(log), QString());
        QVERIFY(filler.remove());
        QVERIFY(server.end());
        QVERIFY2(read(log).contains(u" 行日志无法写入：磁盘已满\n"_s), qPrintable(read(log)));
        QVERIFY2(read(log).endsWith(u"释放 COM3端口成功！\n"_s), qPrintable(read(log)));
    }
};

QTEST_GUILESS_MAIN(ServerProcessTest)
#include "ServerProcessTest.moc"
