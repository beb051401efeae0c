#include "outgoing/ScheduledMessageExpander.h"

#include "database/Recordset.h"
#include "database/Transaction.h"
#include "foundation/DateTimeValue.h"
#include "foundation/UserDirectory.h"
#include "outgoing/MessagePieces.h"

using namespace Qt::StringLiterals;

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
    m_setAside.beginPass();
    for (const auto &[id, hasId, hasDate, hasRecipients] : m_waiting.due()) {
        if (m_console.stopRequested())
            return;
        if (!m_setAside.mayTry(id))
            continue;
        if (!hasId || !hasDate || !hasRecipients) {
            m_setAside.add(id, !hasId    ? u"OAID 为空值"_s
                               : hasDate ? u"收件人列表为空值"_s
                                         : u"发送时间为空或不是有效的日期时间"_s);
            continue;
        }
        try {
            expand(id);
            m_setAside.remove(id);
        } catch (const DatabaseFault &fault) {
            m_setAside.add(id, fault);
        }
    }
}

void ScheduledMessageExpander::expand(qint64 waitingId)
{
    if (writeRows(waitingId) || m_console.stopRequested())
        return;
    // Withdrawn as a rule. A row that is there and cannot be deleted would come up for ever.
    const auto kept = m_session.Conn().firstValue(
        u"select ToSendDT from SMS_WaitToSend where OAID=? and ToUserList is not null"_s, {waitingId});
    const auto scheduled = kept ? dateTimeValue(*kept) : std::nullopt;
    if (scheduled && isDue(*scheduled, m_clock))
        throw DatabaseFault(DatabaseFault::Kind::Refused, u"记录无法从 SMS_WaitToSend 中删除"_s);
}

bool ScheduledMessageExpander::writeRows(qint64 waitingId)
{
    Connection &connection = m_session.Conn();
    Transaction transaction(connection);
    // Read inside the transaction: the OA system may have changed the message since the pass began.
    Recordset waiting(connection);
    waiting.open(u"select OAID, ToSendDT, FromUserName, ToUserList, ToNameList, CreateDT, MsgType, MsgContent"
                 " from SMS_WaitToSend where OAID=?"_s,
                 {waitingId});
    if (waiting.atEnd())
        return false;
    // Where OAID is no key there may be several, and the delete takes them all.
    for (; !waiting.atEnd(); waiting.moveNext()) {
        const auto scheduled = dateTimeValue(waiting.value("ToSendDT"_L1));
        if (!scheduled || !isDue(*scheduled, m_clock) || waiting.value("ToUserList"_L1).isNull())
            return false;
        if (!writeRow(waiting)) {
            // Some databases take as long to take rows back as to write them, and the program is to end.
            transaction.abandon();
            return false;
        }
    }
    // Last: until here the OA system can withdraw the message without waiting, and then nothing of it stays.
    if (connection.execute(u"delete from SMS_WaitToSend where OAID=?"_s, {waitingId}) == 0)
        return false;
    transaction.commit();
    return true;
}

bool ScheduledMessageExpander::writeRow(const Recordset &waiting)
{
    Recordset sendList(m_session.Conn());
    sendList.openForAppend(u"SMS_SendList"_s, u"OAID"_s);
    sendList.addNew();
    sendList.set("FromUser"_L1, waiting.value("FromUserName"_L1));
    sendList.set("ToUserList"_L1, waiting.value("ToUserList"_L1));
    sendList.set("ToNameList"_L1, waiting.value("ToNameList"_L1));
    sendList.set("CreateDT"_L1, waiting.value("CreateDT"_L1));
    sendList.set("MsgType"_L1, waiting.value("MsgType"_L1));
    sendList.set("MsgContent"_L1, waiting.value("MsgContent"_L1));
    sendList.update();
    return queuePieces(waiting, sendList.identity(), recipientItems(waiting.text("ToUserList"_L1)));
}

bool ScheduledMessageExpander::queuePieces(const Recordset &waiting, const QVariant &sendListId,
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
            if (m_console.stopRequested())
                return false;
            queue.addNew();
            queue.set("SOAID"_L1, sendListId);
            queue.set("ToUser"_L1, recipient);
            queue.set("ToMB"_L1, number);
            queue.set("MsgContent"_L1, piece.isNull() ? QVariant() : piece);
            queue.set("MsgStatus"_L1, u"0"_s);
            queue.set("MsgType"_L1, messageType);
            queue.set("RetryCount"_L1, 0);
            queue.update();
        }
    }
    return true;
}
