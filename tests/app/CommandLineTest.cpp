#include "app/LogFile.h"
#include "app/SingleInstance.h"
#include "foundation/Settings.h"
#include "platform/files/Files.h"
#include "tests/support/Office.h"
#include "tests/support/ServerProcess.h"
#include "tests/support/TextTable.h"

#include <csignal>
#include <sys/resource.h>

using namespace Qt::StringLiterals;

/// The built program on the terminal.
class CommandLineTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Office> m_office;

private slots:
    void init() { m_office = std::make_unique<Office>(); }

    void answers_data()
    {
        addRows(uR"(
            options                                       | status | said               | COM7 afterwards
            --strat                                       | 2 | strat
            start                                         | 2 | start
            --set Port=3                                  | 2 | Port
            --set ServerPort                              | 2 | 名称=值
            --set COM0=/dev/x                             | 2 | COM0
            --version                                     | 0 | sms-server
            --help                                        | 0 | --skip-old-mail
            --show-settings                               | 0 | ConnectString=Provider=SQLite
            --skip-old-mail                               | 0 | 0 个用户
            --check                                       | 1 | 没有配置短信中心号码
            --status                                      | 1 | 没有短信服务器
            --explain queue                               | 2 | sent SOAID
            --explain sent -1                             | 2 | 后面要写号码
            --explain sent -1 +861                        | 0 | 队列和归档中都没有它的记录
            --explain waiting 1                           | 0 | SMS_WaitToSend 中没有
            --headless --log-file /no/where/log           | 1 | /no/where/log
            --headless --start                            | 3 | 参数不完整
            --set ConnectString=-                         | 1 | 中文键
            --set com7=/dev/x=y --set COM8=               | 0 |                         | /dev/x=y
            --set COM7=/dev/x --set CenterCode=+86-138    | 1 | CenterCode 没有写入：
            --set COM7=/dev/x --set TimeDelay=0.4         | 1 | TimeDelay 没有写入：
            --set COM7=/dev/x --set Servers=several       | 1 | 没有会话锁
            --set COM7=/dev/x --set Servers=several --set ConnectString=DRIVER=SQLite3;Database=/x | 1 | 没有会话锁
            )"_s);
    }
    void answers()
    {
        ServerProcess server(m_office->registry.fileName(),
                             QString::fromUtf8(QTest::currentDataTag()).split(u' '));
        server.write("Provider=SQLite;中文键=1\n");
        server.closeWriteChannel();
        QVERIFY(server.waitForFinished());
        QCOMPARE(server.exitCode(), cell("status").toInt());
        const QString said = QString::fromUtf8(server.readAllStandardOutput()) + server.errors();
        QVERIFY2(said.contains(cell("said")), qPrintable(said));
        // All settings are written, or none.
        QCOMPARE(m_office->registry.read(Settings::comDevicePath(7)), cell("COM7 afterwards"));
    }

    void theLogFileSumsUpWhatComesAgainAndCountsWhatTheDiskRefuses()
    {
        const QString name = m_office->path(u"log"_s);
        LogFile log(name);
        const auto append = [&](int hour, int times) {
            QString told;
            while (times-- > 0)
                told += log.append(u"2006-03-05 0%1:00:00 again"_s.arg(hour));
            return told;
        };
        const auto text = [&] { return QString::fromUtf8(readWhole(name).octets); };
        QCOMPARE(append(7, 102), QString());
        QCOMPARE(text().count(u'\n'), 100);
        QCOMPARE(append(8, 1), QString());
        QCOMPARE(text().section(u'\n', 100),
                 u"2006-03-05 07:00:00 又有 2 次：again\n2006-03-05 08:00:00 again\n"_s);
        const auto allow = [](rlim_t octets) {
            const rlimit limit{.rlim_cur = octets, .rlim_max = RLIM_INFINITY};
            ::setrlimit(RLIMIT_FSIZE, &limit);
        };
        ::signal(SIGXFSZ, SIG_IGN);
        allow(0);
        QCOMPARE(append(9, 2).count(u"log 无法写入："_s), 1);
        allow(RLIM_INFINITY);
        QCOMPARE(append(9, 1), QString());
        QVERIFY2(text().contains(u"09:00:00 此前有 2 行日志无法写入："_s), qPrintable(text()));
        QVERIFY(text().endsWith(u"\n2006-03-05 09:00:00 again\n"_s));
    }

    void oneInstanceForEachFileByWhateverName()
    {
        const QTemporaryDir folder;
        const QString link = folder.filePath(u"link"_s);
        QVERIFY(QFile::link(folder.path(), link));
        const SingleInstance first(folder.filePath(u"new/a.ini"_s)); // its folder is made
        QVERIFY(first.isFirst());
        QVERIFY(!SingleInstance(link + u"/new/../new/a.ini"_s).isFirst());
        QVERIFY(SingleInstance(folder.filePath(u"new/b.ini"_s)).isFirst());
    }
};

QTEST_GUILESS_MAIN(CommandLineTest)
#include "CommandLineTest.moc"
