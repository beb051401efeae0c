#include "outgoing/ScheduledMessageExpander.h"

#include "database/Recordset.h"
#include "database/Transaction.h"
#include "foundation/DateTimeValue.h"
#include "foundation/UserDirectory.h"
#include "outgoing/MessagePieces.h"

using namespace Qt::StringLiterals;

namespace
{

QString rowName(const QVariant &waitingId)
{
    return "SMS_WaitToSend "_L1 + waitingId.toString();
}

/// A wall-clock time in whole seconds, so that a change of the zone's offset moves nothing.
qint64 wallClockSeconds(const QDateTime &dateTime)
{
    return QDateTime(dateTime.date(), dateTime.time(), Qt::UTC).toSecsSinceEpoch();
}

} // namespace

QStringList recipientItems(QString toUserList)
{
    toUserList.replace(u';', u'*');
    if (toUserList.startsWith(u'*'))
        toUserList.remove(0, 1);
    if (toUserList.endsWith(u'*'))
        toUserList.chop(1);
    return toUserList.isEmpty() ? QStringList() : toUserList.split(u'*');
}

void ScheduledMessageExpander::pass()
{
    Recordset waiting(m_session.Conn());
    waiting.open(u"select OAID, ToSendDT from SMS_WaitToSend"_s);
    for (; !waiting.atEnd() && !m_console.stopRequested(); waiting.moveNext()) {
        const QVariant id = waiting.value("OAID"_L1);
        const auto scheduled = dateTimeValue(waiting.value("ToSendDT"_L1));
        if (!scheduled) {
            m_faults.rowSetAside(rowName(id), u"发送时间为空或不是有效的日期时间"_s);
            continue;
        }
        if (!isDue(*scheduled))
            continue;
        try {
            expand(id);
        } catch (const DatabaseFault &fault) {
            if (!fault.concernsOneRow())
                throw;
            m_faults.rowSetAside(rowName(id), fault.message());
        }
    }
}

bool ScheduledMessageExpander::isDue(const QDateTime &scheduled) const
{
    return wallClockSeconds(scheduled) - wallClockSeconds(m_clock.now()) <= 0;
}

void ScheduledMessageExpander::expand(const QVariant &waitingId)
{
    Connection &connection = m_session.Conn();
    Transaction transaction(connection);
    // Read inside the transaction: the OA system may have withdrawn the message since the pass began.
    Recordset waiting(connection);
    waiting.open(u"select OAID, FromUserName, ToUserList, ToNameList, CreateDT, MsgType, MsgContent"
                 " from SMS_WaitToSend where OAID=?"_s,
                 {waitingId});
    if (waiting.atEnd())
        return;
    const QVariant toUserList = waiting.value("ToUserList"_L1);
    if (toUserList.isNull()) {
        m_faults.rowSetAside(rowName(waitingId), u"收件人列表为空值"_s);
        return;
    }

    Recordset sendList(connection);
    sendList.openForAppend(u"SMS_SendList"_s, u"OAID"_s);
    sendList.addNew();
    sendList.set("FromUser"_L1, waiting.value("FromUserName"_L1));
    sendList.set("ToUserList"_L1, toUserList);
    sendList.set("ToNameList"_L1, waiting.value("ToNameList"_L1));
    sendList.set("CreateDT"_L1, waiting.value("CreateDT"_L1));
    sendList.set("MsgType"_L1, waiting.value("MsgType"_L1));
    sendList.set("MsgContent"_L1, waiting.value("MsgContent"_L1));
    sendList.update();

    queuePieces(waiting, sendList.identity(), recipientItems(toUserList.toString()));
    connection.execute(u"delete from SMS_WaitToSend where OAID=?"_s, {waitingId});
    transaction.commit();
}

void ScheduledMessageExpander::queuePieces(const Recordset &waiting, const QVariant &sendListId,
                                           const QStringList &recipients)
{
    Connection &connection = m_session.Conn();
    const QVariant messageType = waiting.value("MsgType"_L1);
    const QStringList pieces = cutIntoPieces(waiting.text("MsgContent"_L1));
    Recordset queue(connection);
    queue.openForAppend(u"SMS_Queues"_s);
    for (const QString &recipient : recipients) {
        if (recipient.isEmpty())
            continue;
        const QString number = getUserMB(connection, recipient);
        if (number.isEmpty())
            continue;
        for (const QString &piece : pieces) {
            queue.addNew();
            queue.set("SOAID"_L1, sendListId);
            queue.set("ToUser"_L1, recipient);
            queue.set("ToMB"_L1, number);
            queue.set("MsgContent"_L1, piece);
            queue.set("MsgStatus"_L1, u"0"_s);
            queue.set("MsgType"_L1, messageType);
            queue.set("RetryCount"_L1, 0);
            queue.update();
        }
    }
}
