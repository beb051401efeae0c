#include "app/RepeatedLines.h"
#include "app/SingleInstance.h"
#include "foundation/Settings.h"
#include "tests/support/Office.h"
#include "tests/support/ServerProcess.h"
#include "tests/support/TextTable.h"

#include <QRegularExpression>
#include <QSignalSpy>

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
        QVERIFY(server.waitForFinished());
        QCOMPARE(server.exitCode(), cell("status").toInt());
        const QString said = QString::fromUtf8(server.readAllStandardOutput()) + server.errors();
        QVERIFY2(said.contains(cell("said")), qPrintable(said));
        // All settings are written, or none.
        QCOMPARE(m_office->registry.read(Settings::comDevicePath(7)), cell("COM7 afterwards"));
    }

    void theConnectStringComesFromStandardInput()
    {
        ServerProcess server(m_office->registry.fileName(), {u"--set"_s, u"ConnectString=-"_s});
        server.write("Provider=SQLite;Data Source=/tmp/中文.db\n");
        server.closeWriteChannel();
        QVERIFY(server.waitForFinished());
        QCOMPARE(m_office->registry.read(Settings::connectStringPath()),
                 u"Provider=SQLite;Data Source=/tmp/中文.db"_s);
    }

    void withoutADisplayMessageBoxesBecomeLogLinesOldestFirstAndTheWindowCanBeSeenInAPicture()
    {
        const QString picture = m_office->path(u"end.png"_s);
        ServerProcess server(m_office->registry.fileName(),
                             ServerProcess::service() + QStringList{u"--screenshot"_s, picture});
        QVERIFY(server.waitForFinished());
        QCOMPARE(server.exitCode(), 3); // a person has to act
        static const QRegularExpression lines(
            u"^[-0-9]{10} [:0-9]{8} 成功连接数据库\n[-0-9]{10} [:0-9]{8} 请首先[^\n]*\n[^\n]*参数不完整[^\n]*\n$"_s);
        QVERIFY2(lines.match(server.log()).hasMatch(), qPrintable(server.log()));
        QVERIFY(QFile::exists(picture));
    }

    void theHundredAndFirstLineIsCountedAndTheNextHourTellsTheSum()
    {
        RepeatedLines lines;
        const auto line = [](int hour, const QString &text) {
            return u"2006-03-05 %1:00:00 "_s.arg(hour, 2, 10, QChar(u'0')) + text;
        };
        for (int i = 0; i < RepeatedLines::passing; ++i)
            QCOMPARE(lines.next(line(7, u"again"_s)), QStringList{line(7, u"again"_s)});
        QCOMPARE(lines.next(line(7, u"again"_s)) + lines.next(line(7, u"again"_s)), QStringList());
        QCOMPARE(lines.next(line(7, u"other"_s)), QStringList{line(7, u"other"_s)});
        QCOMPARE(lines.next(line(8, u"again"_s)),
                 QStringList({line(7, u"又有 2 次：again"_s), line(8, u"again"_s)}));
        QCOMPARE(lines.takeSums(), QStringList());
    }

    void oneInstanceForEachFileByWhateverName()
    {
        const QTemporaryDir folder;
        const QString link = folder.filePath(u"link"_s);
        QVERIFY(QFile::link(folder.path(), link));
        const SingleInstance first(folder.filePath(u"new/a.ini"_s)); // its folder is made
        QVERIFY(first.isFirst());
        QSignalSpy again(&first, &SingleInstance::startedAgain);
        const SingleInstance byLink(link + u"/new/../new/a.ini"_s);
        QVERIFY(!byLink.isFirst() && byLink.callFirst().contains(u"窗口"_s));
        QTRY_COMPARE(again.count(), 1);
        QVERIFY(SingleInstance(folder.filePath(u"new/b.ini"_s)).isFirst());
    }
};

QTEST_GUILESS_MAIN(CommandLineTest)
#include "CommandLineTest.moc"
