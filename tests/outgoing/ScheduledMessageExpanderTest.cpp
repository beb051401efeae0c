#include "outgoing/MessageEnqueue.h"
#include "outgoing/MessagePieces.h"
#include "tests/support/Office.h"

#include <QTest>

using namespace Qt::StringLiterals;

class ScheduledMessageExpanderTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Office> m_office;

    void schedule(const QString &to, const QString &text)
    {
        m_office->addRow(u"SMS_WaitToSend"_s, u"ToSendDT, ToUserList, MsgContent"_s,
                         {u"2006-03-05"_s, to, text});
    }
    [[nodiscard]] qsizetype count(const QString &table) { return m_office->table(table, u"OAID"_s).size(); }

private slots:
    void init()
    {
        m_office = std::make_unique<Office>();
        m_office->add(u"VO_UserInfor"_s, u"UserName, Mobile"_s, {u"alice|1001"_s, u"bob|1002"_s});
    }
    void cleanup() { QCOMPARE(m_office->console.takeLog(), QStringList()); }

    void loneSurrogatesAreCutLikeAnyCharacter()
    {
        const QStringList pieces = cutIntoPieces(QString(100, QChar(0xd83d)));
        QCOMPARE(pieces.size(), 2);
        QCOMPARE(pieces[0].size(), 70);
    }

    void hugeTextKeepsNoReaderOut()
    {
        schedule(u"alice"_s, QString(1000000, u'长'));
        // More than the database's cache holds; who is kept out gets a fault after a while.
        m_office->console.stopWhen = [this, asked = 0]() mutable {
            return ++asked % 1000 == 0 && count(u"SMS_Queues"_s) > 0;
        };
        m_office->passes().expand();
        QCOMPARE(m_office->rows(u"select max(length(MsgContent)),"
                                " sum(length(replace(MsgContent, '续', ''))) >= 1000000 from SMS_Queues"_s),
                 QStringList(u"70|1"_s));
    }

    void stopLeavesEachRowWhole()
    {
        for (const int row : {1, 2})
            schedule(u"alice;bob"_s, QString(80, QChar(u'0' + row)));
        for (int last = 0; count(u"SMS_WaitToSend"_s) > 0; ++last) {
            int asked = 0;
            m_office->console.stopWhen = [&] { return ++asked > last; };
            m_office->passes().expand();
            QVERIFY(m_office->session.OpenDB());
            QCOMPARE(count(u"SMS_Queues"_s), 4 * (2 - count(u"SMS_WaitToSend"_s)));
            QCOMPARE(count(u"SMS_SendList"_s), 2 - count(u"SMS_WaitToSend"_s));
        }
    }

    void singleMessageIsQueuedWhole()
    {
        const QString text = QString(100, u'长');
        sysSendSMS(m_office->session.Conn(), u"1002"_s, text);
        sysSendSMS(m_office->session.Conn(), u"unknown'"_s, u""_s);
        QCOMPARE(m_office->table(u"SMS_Queues"_s,
                                 u"SOAID, ToUser, ToMB, MsgContent, MsgStatus, MsgType, RetryCount"_s),
                 QStringList({u"-1|bob|1002|%1|0|0|0"_s.arg(text), u"-1||unknown'||0|0|0"_s}));
    }
};

QTEST_GUILESS_MAIN(ScheduledMessageExpanderTest)
#include "ScheduledMessageExpanderTest.moc"
