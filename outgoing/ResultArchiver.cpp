#include "outgoing/ResultArchiver.h"

#include "database/Recordset.h"
#include "database/Transaction.h"
#include "foundation/GetFormateTime.h"
#include "outgoing/MessageStatus.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

/// Rows of one transaction: enough that its beginning and end cost next to nothing, and over in a moment.
constexpr ptrdiff_t batchRows = 300;
/// Rows that one statement deletes where there are as many.
constexpr qsizetype deletedAtOnce = 10;

bool hasFailed(const QString &status)
{
    // Fixed-length columns pad the text with blanks.
    return status.trimmed() == QString::number(static_cast<int>(MessageStatus::Failed));
}

} // namespace

void ResultArchiver::pass()
{
    m_setAside.beginPass();
    const Keys keys = finishedRows();
    for (auto first = keys.cbegin(); first != keys.cend() && !m_console.stopRequested();) {
        const auto end = first + qMin(batchRows, keys.cend() - first);
        archiveBatch(first, end);
        first = end;
    }
    for (const qint64 key : keys) {
        if (m_console.stopRequested())
            return;
        if (m_setAside.contains(key) && m_setAside.mayTry(key))
            archiveAlone(key);
    }
}

ResultArchiver::Keys ResultArchiver::finishedRows()
{
    Keys keys;
    m_session.Conn().scan(
        u"select OAID from %1 where MsgStatus<>'0'"_s.arg(m_session.Conn().pastHeldRows(u"SMS_Queues"_s)), {},
        [&](const Statement &row) {
            if (row.value(0).isNull())
                m_setAside.add(0, u"OAID 为空值"_s);
            else
                keys.push_back(row.value(0).toLongLong());
            return true;
        });
    std::sort(keys.begin(), keys.end());
    return keys;
}

void ResultArchiver::archiveBatch(Keys::const_iterator first, Keys::const_iterator end)
{
    const auto isNew = [this](qint64 key) { return !m_setAside.contains(key); };
    if (std::none_of(first, end, isNew))
        return;
    try {
        if (archiveRange(*first, *(end - 1), false))
            return;
    } catch (const DatabaseFault &fault) {
        if (!fault.setsRowAside())
            throw;
    }
    for (auto key = first; key != end && !m_console.stopRequested(); ++key) {
        if (isNew(*key) && m_setAside.mayTry(*key))
            archiveAlone(*key);
    }
}

void ResultArchiver::archiveAlone(qint64 key)
{
    try {
        if (archiveRange(key, key, true) ||
            !m_session.Conn().firstValue(u"select OAID from SMS_Queues where MsgStatus<>'0' and OAID=?"_s,
                                         {key}))
            m_setAside.remove(key);
        else
            m_setAside.add(key, u"记录无法从 SMS_Queues 中删除"_s);
    } catch (const DatabaseFault &fault) {
        m_setAside.add(key, fault);
    }
}

bool ResultArchiver::archiveRange(qint64 first, qint64 last, bool alsoSetAside)
{
    Transaction transaction(m_session.Conn());
    Recordset queue(m_session.Conn());
    queue.open(
        u"select OAID, SOAID, ToUser, ToMB, MsgContent, MsgStatus from %1"
        " where MsgStatus<>'0' and OAID>=? and OAID<=?"_s.arg(m_session.Conn().pastHeldRows(u"SMS_Queues"_s)),
        {first, last});
    Recordset results(m_session.Conn());
    results.openForAppend(u"SMS_ResultDetail"_s);
    QVariantList copied;
    // A stop ends a batch early: what it has done so far is whole.
    for (; !queue.atEnd() && !m_console.stopRequested(); queue.moveNext()) {
        if (!alsoSetAside && m_setAside.contains(queue.value("OAID"_L1).toLongLong()))
            continue;
        copy(queue, results);
        copied += queue.value("OAID"_L1);
    }
    if (!deleteRows(copied))
        return false;
    transaction.commit();
    return true;
}

void ResultArchiver::copy(const Recordset &queue, Recordset &results)
{
    results.addNew();
    results.set("SOAID"_L1, queue.value("SOAID"_L1));
    results.set("ToUser"_L1, queue.value("ToUser"_L1));
    results.set("ToMB"_L1, queue.value("ToMB"_L1));
    results.set("SendOutDT"_L1, GetFormateTime(m_clock));
    results.set("IsSuccess"_L1, hasFailed(queue.text("MsgStatus"_L1)) ? u"0"_s : u"1"_s);
    results.set("MsgContent"_L1, queue.value("MsgContent"_L1));
    results.update();
}

/// False when somebody else has taken one out meanwhile: it is not archived a second time.
bool ResultArchiver::deleteRows(const QVariantList &ids)
{
    for (qsizetype first = 0, count = 0; first < ids.size(); first += count) {
        count = ids.size() - first < deletedAtOnce ? 1 : deletedAtOnce;
        const QString marks = QStringList(count, u"?"_s).join(u", "_s);
        if (m_session.Conn().execute(u"delete from SMS_Queues where OAID in (%1)"_s.arg(marks),
                                     ids.mid(first, count)) < count)
            return false;
    }
    return true;
}
