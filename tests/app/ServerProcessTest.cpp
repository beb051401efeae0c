#include "tests/support/ServerProcess.h"
#include "foundation/Settings.h"
#include "tests/support/Office.h"
#include "tests/support/SimulatorProcess.h"

#include <QTest>
#include <array>
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
        const SimulatorProcess modem({u"--latency"_s, u"1500"_s});
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
             {u"\nsms_sent_total 1\n"_s, u"\nsms_failed_total{cause=\""_s, u"\nsms_queue_waiting 0\n"_s,
              u"\nsms_modem_up 1\n"_s, u"\nsms_modem_signal_dbm -73\n"_s,
              u"\nsms_pass_last_duration_seconds{pass=\"collect\"} "_s})
            QTRY_VERIFY2_WITH_TIMEOUT(read(figures).contains(line), qPrintable(read(figures)), patience);
        QVERIFY(server.end(SIGINT));
        QCOMPARE(server.exitCode(), 0);
        QVERIFY2(server.log().endsWith(u"释放 COM3端口成功！\n"_s), qPrintable(server.log()));
    }
};

QTEST_GUILESS_MAIN(ServerProcessTest)
#include "ServerProcessTest.moc"
