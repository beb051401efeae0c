#include "outgoing/MessageEnqueue.h"
#include "outgoing/MessagePieces.h"
#include "tests/support/Office.h"

#include <QTest>

using namespace Qt::StringLiterals;

class ScheduledMessageExpanderTest : public QObject
{
    Q_OBJECT

private slots:
    void hugeTextKeepsNoReaderOut()
    {
        Office office;
        office.add(u"VO_UserInfor"_s, u"UserName, Mobile"_s, {u"alice|1001"_s});
        office.addRow(u"SMS_WaitToSend"_s, u"ToSendDT, ToUserList, MsgContent"_s,
                      {u"2006-03-05"_s, u"alice"_s, QString(1000000, u'长')});
        // More than the database's cache holds; who is kept out gets a fault after a while.
        office.console.stopWhen = [&, asked = 0]() mutable {
            return ++asked % 1000 == 0 && !office.table(u"SMS_Queues"_s, u"OAID"_s).isEmpty();
        };
        office.passes().expand();
        QCOMPARE(office.rows(u"select max(length(MsgContent)),"
                             " sum(length(replace(MsgContent, '续', ''))) >= 1000000 from SMS_Queues"_s),
                 QStringList(u"70|1"_s));
        QCOMPARE(office.console.takeLog(), QStringList());
    }

    void singleMessageIsQueuedWhole()
    {
        QCOMPARE(cutIntoPieces(QString(100, QChar(0xd83d)))[0].size(), 70); // lone surrogates
        Office office;
        office.add(u"VO_UserInfor"_s, u"UserName, Mobile"_s, {u"bob|1002"_s});
        const QString text = QString(100, u'长');
        sysSendSMS(office.session.Conn(), u"1002"_s, {text});
        sysSendSMS(office.session.Conn(), u"unknown'"_s, {u""_s});
        QCOMPARE(office.table(u"SMS_Queues"_s,
                              u"SOAID, ToUser, ToMB, MsgContent, MsgStatus, MsgType, RetryCount"_s),
                 QStringList({u"-1|bob|1002|%1|0|0|0"_s.arg(text), u"-1||unknown'||0|0|0"_s}));
    }
};

QTEST_GUILESS_MAIN(ScheduledMessageExpanderTest)
#include "ScheduledMessageExpanderTest.moc"
