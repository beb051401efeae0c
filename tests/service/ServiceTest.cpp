#include "service/Service.h"
#include "tests/support/Office.h"
#include "tests/support/ScriptedBoxes.h"
#include "tests/support/SimulatorProcess.h"
#include "tests/support/TextTable.h"

#include <QRegularExpression>
#include <climits>

using namespace Qt::StringLiterals;

/// Start and Stop, the operator's and unattended.
class ServiceTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Office> m_office;
    ScriptedBoxes m_boxes;
    QString m_device; // COM3
    std::unique_ptr<ModemControl> m_modem;
    std::unique_ptr<Service> m_service;

    [[nodiscard]] ServerParts parts()
    {
        return {m_office->clock, m_office->registry, m_office->session, *m_modem};
    }
    [[nodiscard]] QString status() const { return m_office->console.panelText(OperatorConsole::Status); }
    [[nodiscard]] QStringList takeLog() { return m_office->console.takeLog(); }
    [[nodiscard]] QTimer *timer(const QString &name) const { return m_service->findChild<QTimer *>(name); }
    [[nodiscard]] QTimer *again() const { return timer(u"tStartAgain"_s); }

private slots:
    void init()
    {
        m_office = std::make_unique<Office>();
        m_device = m_office->path(u"no-modem"_s);
        m_modem = std::make_unique<ModemControl>(
            m_office->clock, [this](int comPort) { return comPort == 3 ? m_device : QString(); });
        m_service = std::make_unique<Service>(parts(), m_office->console, m_boxes);
        QCOMPARE(status(), u"等待..."_s);
    }
    void cleanup()
    {
        QCOMPARE(takeLog(), QStringList());
        m_service.reset();
        QCOMPARE(takeLog(), QStringList());
    }

    void startRefused_data()
    {
        // office: the office's own database. *: what the modem says of the device.
        addRows(uR"(
            case                 | database   | centre | port  | box  | status             | by itself | log
            no connection string |            | +861   | 3     |      | 等待...        |           | 数据库连接失败
            no database          | /no/where  | +861   | 3     |      | 等待...        | yes       | 数据库连接失败
            no centre number     | office     |        | 3     | 请首先进行参数配置,配置短信中心号码! | 等待... | |
            no port              | office     | +861   |       |      | 等待...        |           | 没有指定GSM Modem COM端口,请正确配置 GSM Modem COM端口
            port abc             | office     | +861   | abc   |      | 启动失败...    |           | 连接 COMabc失败，请检查连线是否正确。
            port 70000           | office     | +861   | 70000 |      | 启动失败...    |           | 连接 COM70000失败，请检查连线是否正确。
            no modem             | office     | +861   | " 3 " |      | 启动失败...    | yes       | *;连接 COM3失败，请检查连线是否正确。
            )"_s);
    }
    void startRefused()
    {
        m_office->configure(cell("centre"), cell("port"));
        QStringList wanted = cell("log").split(u';', Qt::SkipEmptyParts);
        if (cell("database") == u"office")
            wanted.prepend(u"成功连接数据库"_s);
        else
            m_office->set(u"ConnectString"_s, cell("database").isEmpty()
                                                  ? QString()
                                                  : u"Provider=SQLite;Data Source="_s + cell("database"));
        for (const bool isUnattended : {false, true, false}) { // in the end the operator takes over
            if (isUnattended)
                m_service->startUnattended();
            else
                m_service->start();
            const bool isTrying = isUnattended && !cell("by itself").isEmpty();
            QCOMPARE(
                takeLog().join(u';').replace(QRegularExpression(u"[^;]*no-modem[^;]*"_s), u"*"_s),
                (wanted + QStringList(isTrying, u"启动未成功，每隔 10 秒自动重试，直到成功"_s)).join(u';'));
            QCOMPARE(again()->isActive(), isTrying);
            QCOMPARE(m_boxes.takeShown(), cell("box"));
            QCOMPARE(status(), cell("status"));
            QVERIFY(!m_service->isRunning());
        }
        m_service->startUnattended();
        m_service->stop();
        QVERIFY(!again()->isActive());
        static_cast<void>(takeLog() + QStringList(m_boxes.takeShown()));
    }

    void unreadableSettingsAreAFaultAndNotTheEnd()
    {
        QFile file(m_office->registry.fileName());
        QVERIFY(file.remove() && QDir().mkdir(file.fileName())); // a folder in the file's place
        m_service->start();
        QVERIFY(takeLog().last().startsWith(u"启动服务失败："_s));
        QCOMPARE(status(), u"启动失败..."_s);
    }

    void runsUntilStopIsConfirmed()
    {
        const SimulatorProcess modem;
        m_device = modem.devicePath();
        m_office->configure(u" ＋8613800100500 "_s, u"3"_s, u"60"_s);
        QStringList course;
        const auto note = [&](const QString &signal) {
            const bool isTicking = timer(u"TSend"_s)->isActive() && timer(u"tReceivePopMail"_s)->isActive();
            course += signal + (m_modem->isPortOpen() ? u" open "_s : u" closed "_s) +
                      (isTicking ? u"ticking "_s : u"still "_s) + status() +
                      m_office->console.panelText(OperatorConsole::ToSend);
        };
        connect(m_service.get(), &Service::stateChanged, this, [&] { note(u"state"_s); });
        connect(m_service.get(), &Service::workEnded, this, [&] { note(u"work ended"_s); });
        connect(m_service.get(), &Service::ended, this, [&] { note(u"ended"_s); });
        m_service->start();
        QCOMPARE(takeLog(), QStringList({u"成功连接数据库"_s, u"连接 COM3端口成功！"_s}));
        for (const auto &name :
             {u"TSend"_s, u"TSendResultDetail"_s, u"tSchedule"_s, u"TNewMail"_s, u"tReceivePopMail"_s})
            QVERIFY(timer(name)->isActive() && timer(name)->interval() == 60000);

        m_boxes.answers = {false, true};
        m_service->askAndStop();
        QVERIFY(m_service->isRunning());
        m_service->askAndStop();
        m_service->stop(); // it has ended
        m_service->start();
        QCOMPARE(m_boxes.takeShown(), u"确实要停止短信服务器吗？|确实要停止短信服务器吗？"_s);
        QCOMPARE(takeLog(), QStringList{u"释放 COM3端口成功！"_s});
        QCOMPARE(course,
                 QStringList({u"state open ticking 正在运行..."_s, u"state closed ticking 正在运行..."_s,
                              u"work ended closed still 正在运行...准备就绪"_s,
                              u"ended closed still 服务未启动...准备就绪"_s}));
    }

    void unattendedItSaysOnceThatItTriesAndOnceThatItHasSucceeded()
    {
        m_office->configure(u"+8613800100500"_s, u"3"_s, u"1"_s);
        m_office->set(u"ConnectString"_s, u"Provider=SQLite;Data Source=/no/where"_s);
        const SimulatorProcess modem;
        connect(again(), &QTimer::timeout, this, [&, tries = 0]() mutable {
            ++tries;
            if (tries == 2)
                m_office->set(u"ConnectString"_s, m_office->connectString());
            if (tries == 4)
                m_device = modem.devicePath();
        });
        m_service->startUnattended();
        QTRY_VERIFY_WITH_TIMEOUT(m_service->isRunning(), 20'000);
        const QStringList log = takeLog();
        QCOMPARE(log.mid(0, 3),
                 QStringList({u"数据库连接失败"_s, u"启动未成功，每隔 1 秒自动重试，直到成功"_s,
                              u"成功连接数据库"_s}));
        QCOMPARE(log.mid(5), QStringList({u"连接 COM3端口成功！"_s, u"自动重试成功，服务已启动"_s}));
        emit m_modem->notice(u"成功连接数据库"_s); // from now on a line may come again
        QCOMPARE(takeLog().size(), 1);
    }
};

QTEST_GUILESS_MAIN(ServiceTest)
#include "ServiceTest.moc"
