#include "incoming/InboundMessageHandler.h"
#include "tests/support/Office.h"
#include "tests/support/SimulatorProcess.h"

#include <QTest>

using namespace Qt::StringLiterals;

/// Messages on their whole way: simulated modem, control, handler, database.
class ReceivingTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Office> m_office;
    std::unique_ptr<SimulatorProcess> m_simulator;
    std::unique_ptr<ModemControl> m_modem;
    std::unique_ptr<InboundMessageHandler> m_handler;
    int m_arrived = 0;

    void openModem()
    {
        ModemLimits limits;
        limits.waitRetry = std::chrono::milliseconds(200);
        m_arrived = 0;
        m_modem = std::make_unique<ModemControl>(
            m_office->clock, [this](int) { return m_simulator->devicePath(); }, nullptr, limits);
        m_handler = std::make_unique<InboundMessageHandler>(m_office->session, m_office->console,
                                                            m_office->faults, m_office->guard, *m_modem);
        connect(m_modem.get(), &ModemControl::messageArrived, this, [this] {
            m_handler->messageArrived();
            ++m_arrived;
        });
        m_modem->setPortNumber(1);
        m_modem->setServiceCentre(u"+8613800100500"_s);
        m_modem->setSenderCountryCode(u"86"_s);
        QCOMPARE(m_modem->open(), qint16(0));
    }
    QStringList stored()
    {
        return m_office->rows(u"select FromMB, MsgContent from SMS_SIMReceive order by OAID"_s);
    }

private slots:
    void init()
    {
        m_office = std::make_unique<Office>();
        m_simulator = std::make_unique<SimulatorProcess>();
    }
    void cleanup()
    {
        m_handler.reset();
        m_modem.reset();
        m_simulator.reset();
        QCOMPARE(m_office->console.takeLog(), QStringList());
    }

    void longTextsInPiecesAndACommandAmongThem()
    {
        m_office->oa(u"insert into VO_UserInfor (UserName, Mobile) values ('bob', '13800000001')"_s);
        m_office->oa(u"insert into SMS_Order (OrderName, OrderCode, IsOrder, isPulic)"
                     " values ('WBYJ', 'DY', '1', '1')"_s);
        openModem();
        const QString text = QString(300, u'长') + u"'\""_s;
        m_simulator->command(u"deliver-parts --reference 7 +8613900000001 3,1,5 "_s + text);
        m_simulator->command(u"deliver +8613800000001 DY"_s);
        m_simulator->command(u"deliver-parts +8613900000002 2,1 "_s + QString(100, u'二'));
        m_simulator->command(u"deliver-parts --reference 7 +8613900000001 2,4 "_s + text);
        // Which of the two is complete first depends on when the store is read.
        const QStringList whole{u"13900000001|"_s + text, u"13900000002|"_s + QString(100, u'二')};
        const auto sorted = [this] {
            QStringList rows = stored();
            rows.sort();
            return rows;
        };
        QTRY_COMPARE(sorted(), whole);
        QTRY_COMPARE(m_office->rows(u"select UserName, Type, IsOrder from SMS_IsOrder"_s),
                     QStringList(u"bob|WBYJ|1"_s));
        QCOMPARE(m_office->rows(u"select ToUser, ToMB, MsgContent from SMS_Queues"_s),
                 QStringList(u"bob|13800000001|办公提示：您已经成功订阅了外部邮件短信通知功能。"_s));
        QTRY_VERIFY(m_simulator->isEmpty());
        QCOMPARE(m_office->console.takeLog().size(), 2);
    }

    void messagesWaitInOrderWhileTheDatabaseIsAway()
    {
        openModem();
        QVERIFY(m_office->moveDatabaseAway());
        QStringList expected;
        for (int i = 0; i < 10; ++i) {
            m_simulator->command(u"deliver 1380000000%1 m%1"_s.arg(i));
            expected += u"1380000000%1|m%1"_s.arg(i);
        }
        QTRY_VERIFY(m_arrived > 2);
        QStringList log = m_office->console.takeLog();
        QCOMPARE(log.size(), 1);
        QVERIFY2(log[0].startsWith(u"数据库连接"_s), qPrintable(log[0]));
        QVERIFY(m_office->moveDatabaseBack());
        QTRY_COMPARE_WITH_TIMEOUT(stored(), expected, 20000);
        QTRY_VERIFY(m_simulator->isEmpty());
        log = m_office->console.takeLog();
        QCOMPARE(log.size(), 11);
        QVERIFY2(log[0].startsWith(u"数据库连接"_s), qPrintable(log[0]));
    }

    void refusedMessageStaysInTheModemAndTheOthersGoOn()
    {
        m_office->oa(u"create trigger t before insert on SMS_SIMReceive when length(new.MsgContent) > 5"
                     " begin select raise(abort, 'too long'); end"_s);
        openModem();
        m_simulator->command(u"deliver 13800000001 123456"_s);
        m_simulator->command(u"deliver 13800000002 12345"_s);
        QTRY_COMPARE(stored(), QStringList(u"13800000002|12345"_s));
        QTRY_VERIFY(m_simulator->command(u"status"_s).contains(u"SM=1/"_s));
        QCOMPARE(m_office->console.takeLog().size(), 2);
        // A restart tries again.
        m_office->oa(u"drop trigger t"_s);
        m_handler.reset();
        m_modem.reset();
        openModem();
        QTRY_COMPARE(stored(), QStringList({u"13800000002|12345"_s, u"13800000001|123456"_s}));
        QTRY_VERIFY(m_simulator->isEmpty());
        QCOMPARE(m_office->console.takeLog().size(), 1);
    }
};

QTEST_GUILESS_MAIN(ReceivingTest)
#include "ReceivingTest.moc"
