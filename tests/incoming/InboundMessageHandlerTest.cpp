#include "incoming/InboundMessageHandler.h"
#include "outgoing/MessageEnqueue.h"
#include "subscription/SmsCommandInterpreter.h"
#include "tests/support/Office.h"
#include "tests/support/TextTable.h"

#include <QFile>

using namespace Qt::StringLiterals;

/// What the modem control delivers is given to handle() here.
class InboundMessageHandlerTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Office> m_office;
    std::unique_ptr<InboundMessageHandler> m_handler;

    /// As of another run of the program.
    std::unique_ptr<InboundMessageHandler> restarted(const MessageFiles &files = {})
    {
        return std::make_unique<InboundMessageHandler>(m_office->session, m_office->console, m_office->faults,
                                                       m_office->guard, m_office->clock, m_office->modem(),
                                                       files);
    }
    MessageFate arrive(const QString &sender, const QString &text)
    {
        return m_handler->handle(0, {sender, text, u"2006-03-05 07:00:00"_s});
    }
    /// By a command.
    QStringList written()
    {
        return m_office->table(u"SMS_IsOrder"_s, u"UserName, IsOrder"_s) +
               m_office->table(u"SMS_Queues"_s, u"ToMB"_s);
    }
    QStringList stored() { return m_office->table(u"SMS_SIMReceive"_s, u"FromMB, MsgContent"_s); }

private slots:
    void init()
    {
        m_office = std::make_unique<Office>();
        m_handler = restarted();
    }
    void cleanup()
    {
        QCOMPARE(m_office->console.takeLog(), QStringList());
        m_handler.reset();
    }

    void replyAddressOfASender()
    {
        for (const QString &row :
             u"+86138>138 86138>138 +138>138 ++86138>+86138 0086138>0086138 8686138>86138 86> 银行>银行 >"_s
                 .split(u' '))
            QCOMPARE(replyAddress(row.section(u'>', 0, 0)), row.section(u'>', 1));
        QCOMPARE(replyAddress(u" +86138"_s), u" +86138"_s);
    }

    void failedReadIsLoggedWithoutADatabase()
    {
        m_office->session.Conn().close();
        QCOMPARE(m_handler->handle(7, {}), MessageFate::Handled);
        QCOMPARE(m_handler->handle(-32768, {}), MessageFate::Handled);
        QCOMPARE(m_office->console.takeLog(),
                 (QStringList{u"接收失败,错误代码： 7"_s, u"接收失败,错误代码：-32768"_s}));
        QCOMPARE(stored(), QStringList());
    }

    void refusedMessageIsSpooledWhenTheModemCannotKeepIt()
    {
        const QString spool = m_office->path(u"spool"_s);
        const auto handler = [&] { return restarted({.spool = spool}); };
        const ReceivedMessage message{u"1"_s, u"'长\n\"6"_s, u"2006-03-05 07:00:00"_s,
                                      MessageOrigin{.isLeftOver = false, .fragments = {}, .mustLeave = true}};
        m_office->refuse(u"insert"_s, u"SMS_SIMReceive"_s);
        QCOMPARE(arrive(u"1"_s, u"stays in the modem"_s), MessageFate::Refused);
        QCOMPARE(handler()->handle(0, message), MessageFate::Handled);
        // Killed before the modem's copy was gone.
        QCOMPARE(handler()->handle(0, message), MessageFate::Handled);
        handler()->retrySpooled();
        m_office->allowAll();
        QCOMPARE(stored(), QStringList());
        QFile file(spool);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray before = file.readAll();
        handler()->retrySpooled();
        const QStringList once{u"1|"_s + message.text};
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
        addRows(uR"(
            it is                   | text        | time     | fragments | rows
            the same                | onetwothree | 07:00:00 |           | 1
            another text            | one         | 07:00:00 |           | 2
            another time            | onetwothree | 07:00:09 |           | 2
            its last parts          | twothree    | 07:00:09 | two three | 1
            parts of another        | twofour     | 07:00:09 | two four  | 2
            parts of an earlier one | twothree    | 06:59:59 | two three | 2
            )"_s);
    }
    void leftOverOfAnEarlierRunIsNotStoredAgain()
    {
        const QString time = u"2006-03-05 "_s + cell("time");
        const QStringList fragments = cell("fragments").split(u' ', Qt::SkipEmptyParts);
        const int rows = cell("rows").toInt();
        QCOMPARE(arrive(u"1"_s, u"onetwothree"_s), MessageFate::Handled);
        QCOMPARE(m_handler->isRest(u"1"_s, time, fragments), rows == 1 && !fragments.isEmpty());
        const MessageOrigin origin{.isLeftOver = true, .fragments = fragments, .mustLeave = false};
        QCOMPARE(m_handler->handle(0, {u"1"_s, cell("text"), time, origin}), MessageFate::Handled);
        QCOMPARE(stored().size(), rows);
        QCOMPARE(m_office->console.takeLog().size(), rows);
    }

    void aFaultAnywhereInACommandLeavesNothing()
    {
        openOrder();
        const auto command = [&] {
            Connection &connection = m_office->session.Conn();
            handleOrderCommand(connection, u"NBYJ"_s, u"13800000001"_s, u"DY"_s,
                               [&](const QString &reply) { sysSendSMS(connection, u"1"_s, {reply}); });
        };
        for (const QString &table : {u"SMS_IsOrder"_s, u"SMS_Queues"_s}) {
            m_office->refuse(u"insert"_s, table);
            QVERIFY_EXCEPTION_THROWN(command(), DatabaseFault);
            m_office->allowAll();
        }
        // The lookup itself absorbs the fault.
        m_office->oa(u"alter table VO_UserInfor rename to gone"_s);
        QVERIFY_EXCEPTION_THROWN(command(), DatabaseFault);
        m_office->oa(u"alter table gone rename to VO_UserInfor"_s);
        QCOMPARE(written(), QStringList());
        command();
        QCOMPARE(written(), (QStringList{u"o'neil|1"_s, u"1"_s}));
    }

private:
    void openOrder()
    {
        m_office->add(u"VO_UserInfor"_s, u"UserName, Mobile"_s, {u"o'neil|13800000001"_s});
        m_office->add(u"SMS_Order"_s, u"OrderName, OrderCode, DisOrderCode, IsOrder, isPulic"_s,
                      {u"NBYJ|DY|QX|1|1"_s});
    }
};

QTEST_GUILESS_MAIN(InboundMessageHandlerTest)
#include "InboundMessageHandlerTest.moc"
