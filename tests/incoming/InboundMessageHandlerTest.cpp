#include "incoming/InboundMessageHandler.h"
#include "tests/support/Office.h"

#include <QFile>
#include <QTest>

using namespace Qt::StringLiterals;

/// The modem control here has no port; what it delivers is given to handle().
class InboundMessageHandlerTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Office> m_office;
    std::unique_ptr<ModemControl> m_modem;
    std::unique_ptr<InboundMessageHandler> m_handler;

    MessageFate arrive(const QString &sender, const QString &text)
    {
        return m_handler->handle(0, {sender, text, u"2006-03-05 07:00:00"_s});
    }
    /// As of another run of the program.
    std::unique_ptr<InboundMessageHandler> restarted(const MessageFiles &files = {})
    {
        return std::make_unique<InboundMessageHandler>(m_office->session, m_office->console, m_office->faults,
                                                       m_office->guard, *m_modem, files);
    }
    QStringList stored()
    {
        return m_office->rows(u"select FromMB, JieSHouDT, MsgContent from SMS_SIMReceive order by OAID"_s);
    }

private slots:
    void init()
    {
        m_office = std::make_unique<Office>();
        m_modem = std::make_unique<ModemControl>(m_office->clock, [](int) { return QString(); });
        m_handler = restarted();
    }
    void cleanup() { QCOMPARE(m_office->console.takeLog(), QStringList()); }

    void replyAddressOfASender_data()
    {
        QTest::addColumn<QString>("sender");
        QTest::addColumn<QString>("address");
        const QString number = u"13800000001"_s;
        QTest::newRow("plus and country code") << u"+86"_s + number << number;
        QTest::newRow("country code") << u"86"_s + number << number;
        QTest::newRow("plus") << u'+' + number << number;
        QTest::newRow("two plus") << u"++86"_s + number << u"+86"_s + number;
        QTest::newRow("zeros") << u"0086"_s + number << u"0086"_s + number;
        QTest::newRow("plain") << number << number;
        QTest::newRow("86 twice") << u"8686"_s + number << u"86"_s + number;
        QTest::newRow("86 alone") << u"86"_s << u""_s;
        QTest::newRow("short number") << u"8612"_s << u"12"_s;
        QTest::newRow("blank first") << u" +86"_s + number << u" +86"_s + number;
        QTest::newRow("name") << u"银行"_s << u"银行"_s;
        QTest::newRow("empty") << u""_s << u""_s;
    }
    void replyAddressOfASender()
    {
        QFETCH(QString, sender);
        QFETCH(QString, address);
        QCOMPARE(replyAddress(sender), address);
    }

    void failedReadIsLoggedWithoutADatabase_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("line");
        QTest::newRow("positive") << 7 << u"接收失败,错误代码： 7"_s;
        QTest::newRow("negative") << -3 << u"接收失败,错误代码：-3"_s;
        QTest::newRow("smallest") << -32768 << u"接收失败,错误代码：-32768"_s;
    }
    void failedReadIsLoggedWithoutADatabase()
    {
        QFETCH(int, status);
        QFETCH(QString, line);
        m_office->session.Conn().close();
        QCOMPARE(m_handler->handle(qint16(status), {}), MessageFate::Handled);
        QCOMPARE(m_office->console.takeLog(), QStringList(line));
        QCOMPARE(stored(), QStringList());
    }

    void refusedMessageIsToldOnceAndTheOthersGoOn()
    {
        m_office->oa(u"create trigger t before insert on SMS_SIMReceive when length(new.MsgContent) > 5"
                     " begin select raise(abort, 'too long'); end"_s);
        QCOMPARE(arrive(u"1"_s, u"123456"_s), MessageFate::Refused);
        QCOMPARE(m_office->console.takeLog().size(), 1);
        QCOMPARE(arrive(u"1"_s, u"123456"_s), MessageFate::Refused); // an hour later
        QCOMPARE(arrive(u"2"_s, u"12345"_s), MessageFate::Handled);
        QCOMPARE(m_office->console.takeLog().size(), 1);
        QCOMPARE(stored().size(), 1);
    }

    void messagesWaitWhileTheDatabaseIsAway()
    {
        QVERIFY(m_office->moveDatabaseAway());
        QCOMPARE(arrive(u"1"_s, u"one"_s), MessageFate::Wait);
        QCOMPARE(arrive(u"1"_s, u"one"_s), MessageFate::Wait);
        const QStringList log = m_office->console.takeLog();
        QCOMPARE(log.size(), 1);
        QVERIFY2(log[0].startsWith(u"数据库连接"_s), qPrintable(log[0]));
        QVERIFY(m_office->moveDatabaseBack());
        // The handler opens it again itself; no pass need come before. Its guard asks at most twice a second.
        QVERIFY(QTest::qWaitFor([&] { return arrive(u"1"_s, u"one"_s) == MessageFate::Handled; }));
        QCOMPARE(stored().size(), 1);
        QCOMPARE(m_office->console.takeLog().size(), 2);
    }

    void messageWaitsWhileAnotherProgramHoldsTheDatabase()
    {
        m_office->session.Conn().execute(u"pragma query_only=on"_s); // refused like a lock, without its delay
        QCOMPARE(arrive(u"1"_s, u"one"_s), MessageFate::Wait);
        QCOMPARE(m_office->console.takeLog().size(), 1);
        m_office->session.Conn().execute(u"pragma query_only=off"_s);
        QVERIFY(QTest::qWaitFor([&] { return arrive(u"1"_s, u"one"_s) == MessageFate::Handled; }));
        QCOMPARE(m_office->console.takeLog().size(), 2);
    }

    void refusedMessageIsSpooledWhenTheModemCannotKeepIt()
    {
        const QString spool = m_office->path(u"spool"_s);
        const auto handler = [&] { return restarted({.spool = spool}); };
        const ReceivedMessage message{u"1"_s, u"'长\n\"6"_s, u"2006-03-05 07:00:00"_s,
                                      MessageOrigin{.isLeftOver = false, .fragments = {}, .mustLeave = true}};
        m_office->oa(
            u"create trigger t before insert on SMS_SIMReceive begin select raise(abort, 'no'); end"_s);
        QCOMPARE(arrive(u"1"_s, u"stays in the modem"_s), MessageFate::Refused);
        QCOMPARE(handler()->handle(0, message), MessageFate::Handled);
        QCOMPARE(handler()->handle(0, message),
                 MessageFate::Handled); // killed before the modem's copy was gone
        handler()->retrySpooled();
        m_office->oa(u"drop trigger t"_s);
        QCOMPARE(stored(), QStringList());
        QFile file(spool);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray before = file.readAll();
        handler()->retrySpooled();
        const QStringList once{u"1|2006-03-05 07:00:00|"_s + message.text};
        QCOMPARE(stored(), once);
        QCOMPARE(m_office->console.takeLog().size(), 2); // refused, stored
        // Killed between the store and the file.
        file.close();
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(before) == before.size());
        file.close();
        handler()->retrySpooled();
        QCOMPARE(stored(), once);
    }

    void leftOverOfAnEarlierRunIsNotStoredAgain_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("time");
        QTest::addColumn<QStringList>("fragments");
        QTest::addColumn<int>("rows");
        const QString time = u"2006-03-05 07:00:00"_s;
        const QString later = u"2006-03-05 07:00:09"_s;
        QTest::newRow("the same") << u"onetwothree"_s << time << QStringList() << 1;
        QTest::newRow("another text") << u"one"_s << time << QStringList() << 2;
        QTest::newRow("another time") << u"onetwothree"_s << later << QStringList() << 2;
        QTest::newRow("its last parts") << u"twothree"_s << later << QStringList{u"two"_s, u"three"_s} << 1;
        QTest::newRow("parts of another") << u"twofour"_s << later << QStringList{u"two"_s, u"four"_s} << 2;
        QTest::newRow("parts of an earlier one")
            << u"twothree"_s << u"2006-03-05 06:59:59"_s << QStringList{u"two"_s, u"three"_s} << 2;
    }
    void leftOverOfAnEarlierRunIsNotStoredAgain()
    {
        QFETCH(QString, text);
        QFETCH(QString, time);
        QFETCH(QStringList, fragments);
        QFETCH(int, rows);
        QCOMPARE(arrive(u"1"_s, u"onetwothree"_s), MessageFate::Handled);
        QCOMPARE(m_handler->isRest(u"1"_s, time, fragments), rows == 1 && !fragments.isEmpty());
        const MessageOrigin origin{.isLeftOver = true, .fragments = fragments, .mustLeave = false};
        QCOMPARE(m_handler->handle(0, {u"1"_s, text, time, origin}), MessageFate::Handled);
        QCOMPARE(stored().size(), rows);
        QCOMPARE(m_office->console.takeLog().size(), rows);
    }

    void commandThatTheModemKeepsIsNotObeyedAgain()
    {
        m_office->oa(u"insert into VO_UserInfor (UserName, Mobile) values ('bob', '13800000001')"_s);
        m_office->oa(u"insert into SMS_Order (OrderName, OrderCode, DisOrderCode, IsOrder, isPulic)"
                     " values ('NBYJ', 'DY', 'QX', '1', '1')"_s);
        const auto arriveLater = [&](const QString &text, int minute, bool isLeftOver) {
            const QString time = u"2006-03-05 07:%1:00"_s.arg(minute, 2, 10, QChar(u'0'));
            return restarted({.obeyed = m_office->path(u"obeyed"_s)})
                ->handle(0, {u"13800000001"_s, text, time,
                             MessageOrigin{.isLeftOver = isLeftOver, .fragments = {}}});
        };
        QCOMPARE(arriveLater(u"DY"_s, 0, false), MessageFate::Handled);
        QCOMPARE(arriveLater(u"QX"_s, 1, false), MessageFate::Handled);
        QCOMPARE(arriveLater(u"DY"_s, 0, true), MessageFate::Handled);
        QCOMPARE(m_office->rows(u"select IsOrder from SMS_IsOrder"_s), QStringList(u"0"_s));
        QCOMPARE(arriveLater(u"DY"_s, 2, true),
                 MessageFate::Handled); // sent while the program was not running
        QCOMPARE(m_office->rows(u"select IsOrder from SMS_IsOrder"_s), QStringList(u"1"_s));
        QCOMPARE(m_office->rows(u"select count(*) from SMS_Queues"_s), QStringList(u"3"_s));
    }

    void messageWaitsWhenTheProgramEnds()
    {
        m_office->console.stopWhen = [] { return true; };
        QCOMPARE(arrive(u"1"_s, u"one"_s), MessageFate::Wait);
        QCOMPARE(stored(), QStringList());
    }
};

QTEST_GUILESS_MAIN(InboundMessageHandlerTest)
#include "InboundMessageHandlerTest.moc"
