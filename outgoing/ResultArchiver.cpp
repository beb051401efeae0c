#include "outgoing/ResultArchiver.h"

#include "database/Recordset.h"
#include "database/Transaction.h"
#include "foundation/GetFormateTime.h"
#include "outgoing/MessageStatus.h"

using namespace Qt::StringLiterals;

namespace
{

bool hasFailed(const QString &status)
{
    // Fixed-length columns pad the text with blanks.
    return status.trimmed() == QString::number(static_cast<int>(MessageStatus::Failed));
}

} // namespace

void ResultArchiver::pass()
{
    Connection &connection = m_session.Conn();
    Recordset queue(connection);
    queue.open(
        u"select OAID, SOAID, ToUser, ToMB, MsgContent, MsgStatus from SMS_Queues where MsgStatus<>'0'"_s);
    Recordset results(connection);
    results.openForAppend(u"SMS_ResultDetail"_s);
    for (; !queue.atEnd() && !m_console.stopRequested(); queue.moveNext()) {
        try {
            archive(queue, results);
        } catch (const DatabaseFault &fault) {
            if (!fault.concernsOneRow())
                throw;
            m_faults.rowSetAside("SMS_Queues "_L1 + queue.text("OAID"_L1), fault.message());
        }
    }
}

void ResultArchiver::archive(const Recordset &queue, Recordset &results)
{
    Transaction transaction(m_session.Conn());
    results.addNew();
    results.set("SOAID"_L1, queue.value("SOAID"_L1));
    results.set("ToUser"_L1, queue.value("ToUser"_L1));
    results.set("ToMB"_L1, queue.value("ToMB"_L1));
    results.set("SendOutDT"_L1, GetFormateTime(m_clock));
    results.set("IsSuccess"_L1, hasFailed(queue.text("MsgStatus"_L1)) ? u"0"_s : u"1"_s);
    results.set("MsgContent"_L1, queue.value("MsgContent"_L1));
    results.update();
    const qint64 deleted =
        m_session.Conn().execute(u"delete from SMS_Queues where OAID=?"_s, {queue.value("OAID"_L1)});
    // A row that somebody else has taken out meanwhile is not archived a second time.
    if (deleted > 0)
        transaction.commit();
}
