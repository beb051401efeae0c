#include "outgoing/QueueSender.h"

#include "database/Recordset.h"

#include <QScopeGuard>
#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

using Panel = OperatorConsole::Panel;

/// Of one message, if a kill left the end of the first unknown.
constexpr int maximumHandOvers = 2;

/// After this a pass ends, so that what has come meanwhile has its turn.
constexpr auto longestPass = std::chrono::minutes(1);

const QString answerTask = u"短信猫应答"_s;

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

qint64 waitingRows(Connection &connection)
{
    const QString table = connection.pastHeldRows(u"SMS_Queues"_s);
    return connection.firstValue(u"select count(*) from %1 where MsgStatus='0'"_s.arg(table), {})
        .value_or(QVariant())
        .toLongLong();
}

} // namespace

bool QueueSender::sendNext()
{
    auto end = qScopeGuard([this] { endPass(); }); // also when something is thrown
    if ((!m_isPassing && !beginPass()) || !goOn())
        return false;
    if (m_clock.steady() - m_begunAt < longestPass)
        end.dismiss();
    return true;
}

void QueueSender::endPass()
{
    if (!std::exchange(m_isPassing, false))
        return;
    if (m_untried > 0)
        lowerToSend(m_console, m_untried);
    m_rows = {};
}

/// False when there is nothing to send now.
bool QueueSender::beginPass()
{
    m_untried = 0;
    settle();
    releaseLocks();
    m_lockedNumbers.clear();
    m_begunAt = m_clock.steady();
    m_limits.beginPass();
    const auto hold = m_limits.hold(1);
    if (hold)
        m_untried = waitingRows(m_session.Conn());
    else
        readRows();
    m_isPassing = true;
    raisePanel(m_console, Panel::ToSend, m_untried);
    m_console.setPanelText(Panel::Status, m_untried == 0 ? u"准备就绪"_s : u"正在发送..."_s);
    if (hold && m_untried > 0)
        m_limits.rest(*hold, m_untried);
    return m_untried > 0 && !hold;
}

/// In the database's own order; but rows that were tried come last, and where the whole takes longer than a pass or
/// a limit presses, the single messages before the broadcasts.
void QueueSender::readRows()
{
    Recordset queue(m_session.Conn());
    queue.open(u"select OAID, SOAID, ToMB, MsgContent from %1 where MsgStatus='0'"_s.arg(
        m_session.Conn().pastHeldRows(u"SMS_Queues"_s)));
    m_untried = queue.recordCount();
    const bool singlesFirst = m_untried * m_messageTime > longestPass || m_limits.presses(m_untried);
    m_rows.reserve(size_t(m_untried));
    for (; !queue.atEnd(); queue.moveNext()) {
        const auto lastTry = m_tried.lastTry(queue.value("OAID"_L1).toLongLong());
        const bool isSingle = queue.value("SOAID"_L1).toString().trimmed() == "-1"_L1;
        const int group = lastTry ? 2 : singlesFirst && !isSingle ? 1 : 0;
        m_rows.push_back({queue.value("OAID"_L1), queue.value("ToMB"_L1), queue.value("MsgContent"_L1), group,
                          lastTry.value_or(std::chrono::milliseconds(0))});
    }
    std::ranges::stable_sort(m_rows, {}, [](const Row &row) { return std::pair(row.group, row.lastTry); });
}

/// One row. False when the pass is over.
bool QueueSender::goOn()
{
    const Row &row = m_rows[m_rows.size() - size_t(m_untried)];
    const auto end = qScopeGuard([this] { releaseLocks(); });
    if (m_console.stopRequested() || !m_tried.mayTry(row.id.toLongLong()))
        return false;
    if (const auto hold = m_limits.hold(smsCount(row.text.toString()))) {
        m_limits.rest(*hold, m_untried);
        return false;
    }
    try {
        trySend(row);
    } catch (const ModemFault &fault) {
        // Of a device that is gone the control itself tells the operator, once for each end.
        if (fault.kind() != ModemFault::Kind::PortLost)
            throw;
        return false;
    }
    lowerToSend(m_console, 1);
    if (--m_untried == 0)
        m_limits.allSent();
    return m_untried > 0;
}

/// Alone with the number, and the row still waits: another server may have sent it since this pass began.
bool QueueSender::isOurs(qint64 id, const QString &number)
{
    if (!m_isShared)
        return true;
    if (m_lockedNumbers.contains(number))
        return false;
    NamedLock &lock = m_locks.try_emplace(number, m_session.Conn()).first->second;
    const auto reading = lock.tryTakeReading(
        "sms-server number "_L1 + number,
        {u"case when MsgStatus='0' then 1 else 0 end"_s, u"SMS_Queues"_s, u"OAID=?"_s, {id}});
    if (reading && !reading->isHeld)
        m_lockedNumbers.insert(number);
    return reading && reading->isHeld && reading->value.toInt() == 1;
}

void QueueSender::releaseLocks()
{
    std::erase_if(m_locks, [this](const auto &lock) { return !m_inHand.isNumberHeld(lock.first); });
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
    if (m_inHand.isHeld(id) || m_inHand.isNumberHeld(number.toString()) || !isOurs(id, number.toString()))
        return;
    m_inHand.take(id, number.toString(), text.toString());
    if (number.isNull() || text.isNull()) {
        fail(id, number.toString(), u"号码或内容为空值"_s);
        return;
    }
    try {
        const auto begun = m_clock.steady();
        const qint16 result = m_modem.send(number.toString(), text.toString());
        m_faults.over(answerTask);
        if (result == 0) {
            m_messageTime = m_clock.steady() - begun;
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
    using Kind = ModemFault::Kind;
    // Some modems say so of a network that has just taken another message: that is this row's own refusal.
    const auto acceptedAt = std::exchange(m_acceptedAt, std::nullopt);
    const bool isNetworkThere = acceptedAt && m_clock.steady() - *acceptedAt < longestPass;
    const Kind kind = fault.kind() == Kind::NoNetwork && isNetworkThere ? Kind::NotTaken : fault.kind();
    if (kind == Kind::PortLost || kind == Kind::NoNetwork)
        throw fault;
    m_faults.failed(answerTask, fault.message());
    // A prompt that did not come says nothing of the row.
    if (kind != Kind::NotPrompted && m_tried.noteTry(id, number, kind))
        fail(id, number, fault.message());
}

void QueueSender::succeed(qint64 id)
{
    m_acceptedAt = m_clock.steady();
    m_tried.noteAccepted();
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
    m_tried.remove(id);
    m_inHand.noteResult(status, cause);
    writeStatus(id, status);
}

void QueueSender::writeStatus(qint64 id, MessageStatus status)
try {
    Connection &connection = m_session.Conn();
    const auto written =
        connection.execute(u"Update SMS_Queues set MsgStatus=%1 where OAID=?"_s.arg(int(status)), {id});
    // Gone as a rule. One that a trigger keeps as it was would go out in every pass.
    if (written == 0 &&
        connection.firstValue(u"select OAID from SMS_Queues where OAID=? and MsgStatus='0'"_s, {id}))
        throw DatabaseFault(DatabaseFault::Kind::Refused, u"发送结果写入 MsgStatus 后没有生效"_s);
    m_inHand.forget(id);
    m_setAside.remove(id);
    raisePanel(m_console, status == MessageStatus::Sent ? Panel::Succeeded : Panel::Failed, 1);
} catch (const DatabaseFault &fault) {
    if (m_isShared && fault.kind() == DatabaseFault::Kind::Lost)
        m_console.addLogLine(
            u"数据库连接在写入发送结果前断开，OAID %1 的短信可能由其他短信服务器再发一次"_s.arg(id));
    m_setAside.add(id, fault);
}

void QueueSender::settle()
{
    m_inHand.read();
    if (!std::exchange(m_isResolved, true))
        m_inHand.resolve(m_modem.takeLateResult());
    m_setAside.beginPass();
    const QList<qint64> ids = m_inHand.unsettled();
    for (const qint64 id : ids) {
        if (!m_console.stopRequested() && m_setAside.mayTry(id))
            settleRow(id);
    }
}

/// A row that waits no more, or is another by now, has nothing to come.
void QueueSender::settleRow(qint64 id)
try {
    Recordset row(m_session.Conn());
    row.open(u"select ToMB, MsgContent from SMS_Queues where OAID=? and MsgStatus='0'"_s, {id});
    if (row.recordCount() == 0) {
        m_inHand.forget(id);
        m_setAside.remove(id);
        return;
    }
    const QString number = row.value("ToMB"_L1).toString();
    const bool isOfThisRun = m_inHand.isOfThisRun(id);
    m_inHand.take(id, number, row.value("MsgContent"_L1).toString());
    const InHand::Note *noted = m_inHand.noted();
    if (noted != nullptr && isOfThisRun)
        writeStatus(id,
                    noted->state == InHand::Note::State::Sent ? MessageStatus::Sent : MessageStatus::Failed);
    else if (noted != nullptr)
        settleNoted(id, number, InHand::Note(*noted));
} catch (const DatabaseFault &fault) {
    m_setAside.add(id, fault);
}

/// A row of an earlier run that still waits.
void QueueSender::settleNoted(qint64 id, const QString &number, const InHand::Note &noted)
{
    if (noted.state == InHand::Note::State::Sent)
        succeed(id);
    else if (noted.state == InHand::Note::State::Failed)
        fail(id, number, noted.cause);
    else if (noted.doubts >= maximumHandOvers)
        fail(id, number, u"程序两次在发送中途中断，没有得到结果，可能已发出"_s);
}
