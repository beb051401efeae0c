#include "outgoing/QueueSender.h"

#include "database/Recordset.h"

#include <QScopeGuard>

using namespace Qt::StringLiterals;

namespace
{

using Panel = OperatorConsole::Panel;

/// Tries of one row, each in a pass of its own, that the modem leaves without an answer or the network does
/// not take.
constexpr int maximumTries = 3;

/// Of one message, if a kill left the end of the first unknown.
constexpr int maximumHandOvers = 2;

/// Rows that are looked up again in one pass although others hold them: each may cost a second.
constexpr int maximumHeld = 2;

/// While nothing is accepted, a row's tries count only this far apart: ...
constexpr qint64 millisecondsApart = 30000;
/// ... and this far while the network takes none of several rows.
constexpr qint64 millisecondsApartInOutage = 300000;

/// Rows in succession that the network does not take before a pass ends: it is the network then, not
/// the rows.
constexpr int maximumNotTaken = 3;

QString answerTask()
{
    return u"短信猫应答"_s;
}

/// Adds to the number a panel shows; a text that is no number counts as 0.
void raisePanel(OperatorConsole &console, Panel panel, qint64 amount)
{
    console.setPanelText(panel, QString::number(console.panelText(panel).toLongLong() + amount));
}

/// Takes from the to-send count; a text that is no number is left alone.
void lowerToSend(OperatorConsole &console, qint64 amount)
{
    bool isNumber = false;
    const qint64 count = console.panelText(Panel::ToSend).toLongLong(&isNumber);
    if (isNumber)
        console.setPanelText(Panel::ToSend, QString::number(count - amount));
}

} // namespace

void QueueSender::pass()
{
    settle();
    if (holdsLock())
        return;
    const auto letGo = qScopeGuard([this] {
        if (!holdsLock())
            m_lock.release();
    });
    m_notTaken = 0;
    m_untried = 0;
    m_lockedNumbers.clear();
    if (m_limits != nullptr)
        m_limits->beginPass();
    Recordset queue(m_session.Conn());
    queue.open(u"select OAID, SOAID, ToMB, MsgContent from SMS_Queues where MsgStatus='0'"_s);
    raisePanel(m_console, Panel::ToSend, queue.recordCount());
    if (queue.recordCount() == 0) {
        m_console.setPanelText(Panel::Status, u"准备就绪"_s);
        return;
    }
    m_console.setPanelText(Panel::Status, u"正在发送..."_s);
    m_untried = queue.recordCount();
    // However the pass ends, the rows it did not try are no longer its own.
    const auto giveBack = qScopeGuard([&] {
        if (m_untried > 0)
            lowerToSend(m_console, m_untried);
    });
    try {
        for (const Row &row : rowsInTurn(queue)) {
            if (!mayGoOn() || mustRest(row))
                break;
            trySend(row);
            lowerToSend(m_console, 1);
            --m_untried;
        }
        m_isOutage = m_notTaken >= maximumNotTaken;
        if (m_limits != nullptr && m_untried == 0)
            m_limits->allSent();
    } catch (const ModemFault &fault) {
        // Of a device that is gone the control itself tells the operator, once for each end.
        if (fault.kind() != ModemFault::Kind::PortLost)
            throw;
    }
}

bool QueueSender::mayGoOn() const
{
    return !m_console.stopRequested() && !holdsLock() && m_notTaken < maximumNotTaken;
}

/// In the database's own order; while a limit presses, the single messages before the broadcasts.
std::vector<QueueSender::Row> QueueSender::rowsInTurn(Recordset &queue) const
{
    const bool singlesFirst = m_limits != nullptr && m_limits->presses(queue.recordCount());
    std::vector<Row> rows;
    std::vector<Row> broadcasts;
    for (; !queue.atEnd(); queue.moveNext()) {
        const bool isSingle = queue.value("SOAID"_L1).toString().trimmed() == "-1"_L1;
        (singlesFirst && !isSingle ? broadcasts : rows)
            .push_back({queue.value("OAID"_L1), queue.value("ToMB"_L1), queue.value("MsgContent"_L1)});
    }
    rows.insert(rows.end(), broadcasts.begin(), broadcasts.end());
    return rows;
}

bool QueueSender::mustRest(const Row &row)
{
    const auto until =
        m_limits != nullptr ? m_limits->restsUntil(smsCount(row.text.toString())) : std::nullopt;
    if (until)
        m_limits->rest(*until, m_untried);
    return until.has_value();
}

/// Alone with the number, and the row still waits: another server may have sent it since this pass began.
bool QueueSender::isOurs(qint64 id, const QString &number)
{
    if (!m_isShared)
        return true;
    if (m_lockedNumbers.contains(number))
        return false;
    const auto reading = m_lock.tryTakeReading(
        "sms-server number "_L1 + number,
        {u"case when MsgStatus='0' then 1 else 0 end"_s, u"SMS_Queues"_s, u"OAID=?"_s, {id}});
    if (reading && !reading->isHeld)
        m_lockedNumbers.insert(number);
    return reading && reading->isHeld && reading->value.toInt() == 1;
}

void QueueSender::trySend(const Row &row)
{
    const QVariant &key = row.id;
    if (key.isNull()) {
        // Its status could never be written, so it would go out in every pass.
        m_faults.rowSetAside(u"SMS_Queues（无 OAID）"_s, u"OAID 为空值，无法发送"_s);
        return;
    }
    const qint64 id = key.toLongLong();
    const QVariant &number = row.number;
    const QVariant &text = row.text;
    if (m_inHand.isHeld(id, number.toString()) || !isOurs(id, number.toString()))
        return;
    m_inHand.take(id, number.toString(), text.toString());
    if (number.isNull() || text.isNull()) {
        fail(id, number.toString(), u"号码或内容为空值"_s);
        return;
    }
    try {
        const qint16 result = m_modem.send(number.toString(), text.toString());
        m_faults.over(answerTask());
        m_notTaken = 0;
        if (result == 0) {
            succeed(id);
        } else {
            fail(id, number.toString(), u"%1（代码 %2）"_s.arg(m_modem.lastRefusal()).arg(result));
        }
    } catch (const ModemFault &fault) {
        waitOrFail(id, number.toString(), fault);
    }
}

/// What concerns this row alone lets the others go on.
void QueueSender::waitOrFail(qint64 id, const QString &number, const ModemFault &fault)
{
    switch (fault.kind()) {
    case ModemFault::Kind::PortLost:
    case ModemFault::Kind::NoNetwork:
        throw fault;
    case ModemFault::Kind::NotPrompted: // says nothing of the row
        m_faults.failed(answerTask(), fault.message());
        return;
    case ModemFault::Kind::NotTaken:
        ++m_notTaken;
        break;
    case ModemFault::Kind::NoAnswer:
        break;
    }
    m_faults.failed(answerTask(), fault.message());
    if (countTry(id, fault.kind()) >= maximumTries)
        fail(id, number, fault.message());
}

int QueueSender::countTry(qint64 id, ModemFault::Kind kind)
{
    const bool isFirst = !m_tries.contains(id);
    Tries &tries = m_tries[id];
    if (isFirst)
        tries.acceptedBefore = m_accepted;
    const bool othersPass = m_accepted != tries.acceptedBefore;
    const qint64 apart = m_isOutage ? millisecondsApartInOutage : millisecondsApart;
    if (isFirst || othersPass || kind == ModemFault::Kind::NoAnswer || tries.last.elapsed() >= apart) {
        ++tries.count;
        tries.last.start();
    }
    return tries.count;
}

void QueueSender::succeed(qint64 id)
{
    ++m_accepted;
    m_console.count(OperatorConsole::Event::Sent);
    finish(id, MessageStatus::Sent, {});
}

void QueueSender::fail(qint64 id, const QString &number, const QString &cause)
{
    const InHand::Note *noted = m_inHand.noted();
    const bool mayBeOut = noted != nullptr && noted->doubts > 0 && !cause.contains(u"可能已发出"_s);
    const QString whole = mayBeOut ? cause + u"；程序上次中断前可能已发出"_s : cause;
    m_console.addLogLine(u"手机号码："_s + number + u"短信发送失败."_s);
    m_console.addLogLine(u"手机号码：%1，失败原因：%2"_s.arg(number, whole));
    m_console.count(OperatorConsole::Event::Failed, cause);
    finish(id, MessageStatus::Failed, whole);
}

/// Of the row in hand.
void QueueSender::finish(qint64 id, MessageStatus status, const QString &cause)
{
    m_tries.remove(id);
    m_inHand.noteResult(status, cause);
    raisePanel(m_console, status == MessageStatus::Sent ? Panel::Succeeded : Panel::Failed, 1);
    static_cast<void>(writeStatus(id, status));
}

/// False when the database refuses this row alone.
bool QueueSender::writeStatus(qint64 id, MessageStatus status)
try {
    m_session.Conn().execute(u"Update SMS_Queues set MsgStatus=%1 where OAID=?"_s.arg(int(status)), {id});
    m_inHand.forget(id);
    return true;
} catch (const DatabaseFault &fault) {
    if (!fault.concernsOneRow())
        throw;
    m_faults.rowSetAside("SMS_Queues "_L1 + QString::number(id), fault.message());
    return false;
}

void QueueSender::settle()
{
    m_inHand.read();
    if (!std::exchange(m_isResolved, true))
        m_inHand.resolve(m_modem.takeLateResult());
    int held = 0;
    const QList<qint64> ids = m_inHand.unsettled();
    for (const qint64 id : ids) {
        if (held >= maximumHeld || m_console.stopRequested())
            return;
        held += settleRow(id) ? 0 : 1;
    }
}

/// False while the row is held. One that waits no more, or is another by now, has nothing to come.
bool QueueSender::settleRow(qint64 id)
try {
    Recordset row(m_session.Conn());
    row.open(u"select ToMB, MsgContent from SMS_Queues where OAID=? and MsgStatus='0'"_s, {id});
    if (row.recordCount() == 0) {
        m_inHand.forget(id);
        return true;
    }
    const QString number = row.value("ToMB"_L1).toString();
    const bool isOfThisRun = m_inHand.isOfThisRun(id);
    m_inHand.take(id, number, row.value("MsgContent"_L1).toString());
    const InHand::Note *noted = m_inHand.noted();
    if (noted == nullptr)
        return true;
    if (isOfThisRun)
        return writeStatus(id, noted->state == InHand::Note::State::Sent ? MessageStatus::Sent
                                                                         : MessageStatus::Failed);
    settleNoted(id, number, InHand::Note(*noted));
    return true;
} catch (const DatabaseFault &fault) {
    if (!fault.concernsOneRow())
        throw;
    return false;
}

/// A row of an earlier run that still waits.
void QueueSender::settleNoted(qint64 id, const QString &number, const InHand::Note &noted)
{
    switch (noted.state) {
    case InHand::Note::State::Sent:
        succeed(id);
        return;
    case InHand::Note::State::Failed:
        fail(id, number, noted.cause);
        return;
    case InHand::Note::State::HandedOver:
    case InHand::Note::State::Waits:
        if (noted.doubts >= maximumHandOvers)
            fail(id, number, u"程序两次在发送中途中断，没有得到结果，可能已发出"_s);
    }
}
