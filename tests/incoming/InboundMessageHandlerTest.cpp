#include "incoming/InboundMessageHandler.h"
#include "tests/support/Office.h"
#include "tests/support/TextTable.h"

using namespace Qt::StringLiterals;

/// What the modem control delivers is given to handle() here.
class InboundMessageHandlerTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Office> m_office;
    std::unique_ptr<InboundMessageHandler> m_handler;

    MessageFate arrive(const QString &sender, const QString &text)
    {
        return m_handler->handle(0, {sender, text, u"2006-03-05 07:00:00"_s});
    }

private slots:
    void init()
    {
        m_office = std::make_unique<Office>();
        m_handler =
            std::make_unique<InboundMessageHandler>(m_office->session, m_office->console, m_office->faults,
                                                    m_office->guard, m_office->clock, m_office->modem());
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
        QCOMPARE(m_office->table(u"SMS_SIMReceive"_s, u"OAID"_s).size(), rows);
        QCOMPARE(m_office->console.takeLog().size(), rows);
    }

    void faultInACommandLeavesNothing()
    {
        m_office->add(u"VO_UserInfor"_s, u"UserName, Mobile"_s, {u"o'neil|13800000001"_s});
        m_office->add(u"SMS_Order"_s, u"OrderName, OrderCode, IsOrder, isPulic"_s, {u"NBYJ|DY|1|1"_s});
        const auto written = [this] {
            return m_office->table(u"SMS_IsOrder"_s, u"UserName, IsOrder"_s) +
                   m_office->table(u"SMS_Queues"_s, u"ToMB"_s);
        };
        for (const QString &table : {u"SMS_IsOrder"_s, u"SMS_Queues"_s}) {
            m_office->refuse(u"insert"_s, table);
            QCOMPARE(arrive(u"13800000001"_s, u"DY"_s), MessageFate::Refused);
            m_office->allowAll();
            QCOMPARE(written(), QStringList());
        }
        QCOMPARE(arrive(u"13800000001"_s, u"DY"_s), MessageFate::Handled);
        QCOMPARE(written(), (QStringList{u"o'neil|1"_s, u"13800000001"_s}));
        QCOMPARE(m_office->console.takeLog().size(), 1);
    }
};

QTEST_GUILESS_MAIN(InboundMessageHandlerTest)
#include "InboundMessageHandlerTest.moc"
