#include "incoming/InboundMessageHandler.h"

#include "database/Recordset.h"
#include "modem/ModemControl.h"
#include "outgoing/MessageEnqueue.h"
#include "subscription/SmsCommandInterpreter.h"

#include <QDateTime>
#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

constexpr std::chrono::seconds firstSpoolWait{10};
constexpr std::chrono::seconds longestSpoolWait{3600};

/// How much later than the first part of a message its other parts are stamped, as a rule; and at most.
constexpr std::chrono::minutes partsFollowWithin{5};
constexpr std::chrono::minutes partsFollowAtMost{60};

QStringList textsOf(Recordset &rows)
{
    QStringList texts;
    for (; !rows.atEnd(); rows.moveNext())
        texts += rows.text("MsgContent"_L1);
    return texts;
}

/// Of the replies and alerts, none of which belongs to a scheduled message.
QStringList queuedFor(Connection &connection, const QString &number)
{
    Recordset rows(connection);
    rows.open(u"select MsgContent from SMS_Queues where SOAID=? and ToMB=?"_s, {-1, number});
    return textsOf(rows);
}

ReceivedMessage::Before stateBefore(Connection &connection, const QString &number)
{
    Recordset rows(connection);
    rows.open(u"select max(OAID) as Highest from SMS_ResultDetail"_s);
    return {queuedFor(connection, number), rows.value("Highest"_L1).toLongLong()};
}

/// There is one more of it than before, waiting or archived since.
bool isQueuedSince(Connection &connection, const ReceivedMessage::Before &before, const QString &number,
                   const QString &text)
{
    Recordset archived(connection);
    archived.open(u"select MsgContent from SMS_ResultDetail where OAID>? and SOAID=? and ToMB=?"_s,
                  {before.results, -1, number});
    return (queuedFor(connection, number) + textsOf(archived)).count(text) > before.queued.count(text);
}

} // namespace

QString replyAddress(const QString &sender)
{
    QString address = sender;
    if (address.startsWith(u'+'))
        address.remove(0, 1);
    if (address.startsWith("86"_L1))
        address.remove(0, 2);
    return address;
}

void InboundMessageHandler::messageArrived()
{
    ReceivedMessage message;
    const qint16 status = m_modem.read(message.sender, message.text, message.receiveTime);
    message.origin = m_modem.origin();
    m_modem.settle(handle(status, message));
}

MessageFate InboundMessageHandler::handle(qint16 readStatus, const ReceivedMessage &message)
{
    if (readStatus != 0) {
        const QString sign = readStatus > 0 ? u" "_s : QString();
        m_console.addLogLine(u"接收失败,错误代码："_s + sign + QString::number(readStatus));
        return MessageFate::Handled;
    }
    // Stays so when the guard finds no database or the delivery ends with a fault.
    MessageFate fate = MessageFate::Wait;
    m_guard.runPass(u"短信接收"_s, [&] { fate = deliver(message); });
    // What the database refuses would fill the modem's store and deafen it.
    if (fate == MessageFate::Refused && message.origin.mustLeave && m_spool.put(message)) {
        fate = MessageFate::Handled;
        m_spoolWait = firstSpoolWait;
        m_sinceSpoolRetry.start();
    }
    tellFile(m_spool);
    return fate;
}

void InboundMessageHandler::tellFile(const MessageFile &file)
{
    const QString task = u"文件 %1 "_s.arg(file.fileName());
    if (file.error().isError())
        m_faults.failed(task, file.error().text());
    else
        m_faults.over(task);
}

bool InboundMessageHandler::isRest(const QString &sender, const QString &receiveTime,
                                   const QStringList &fragments)
{
    bool isRest = false;
    const ReceivedMessage parts{sender, {}, receiveTime, {.isLeftOver = true, .fragments = fragments}};
    m_guard.runPass(u"短信接收"_s, [&] { isRest = isRestOfStored(parts, partsFollowWithin); });
    return isRest;
}

bool InboundMessageHandler::retrySpooled()
{
    if (m_spool.isRestored())
        m_console.addLogLine(u"文件 %1 被改动，已重新写入"_s.arg(m_spool.fileName()));
    const QList<ReceivedMessage> messages = m_spool.messages();
    tellFile(m_spool);
    tellFile(m_obeyed);
    if (messages.isEmpty())
        return false;
    if (m_sinceSpoolRetry.isValid() &&
        m_sinceSpoolRetry.elapsed() < std::chrono::milliseconds(m_spoolWait).count())
        return false;
    m_spoolWait = std::clamp(m_spoolWait * 2, firstSpoolWait, longestSpoolWait);
    m_sinceSpoolRetry.start();
    bool isEmptied = true;
    for (const ReceivedMessage &message : messages) {
        if (deliver(message) == MessageFate::Handled)
            m_spool.remove(message);
        else
            isEmptied = false;
    }
    return isEmptied;
}

MessageFate InboundMessageHandler::deliver(const ReceivedMessage &message)
{
    try {
        const QString orderName = getOrderName(m_session.Conn(), message.text);
        if (isCommandType(orderName))
            obey(orderName, message);
        else
            store(message);
        m_console.count(OperatorConsole::Event::Received);
        return MessageFate::Handled;
    } catch (const DatabaseFault &fault) {
        m_mayBeStored = m_mayBeStored || fault.kind() == DatabaseFault::Kind::Lost;
        if (!fault.setsRowAside())
            throw;
        m_faults.rowSetAside(u"%1 于 %2 发来的短信"_s.arg(message.sender, message.receiveTime),
                             fault.message());
        return MessageFate::Refused;
    }
}

/// Noted before and after: a kill in between leaves the question whether the switch and its confirmation were
/// committed, which the confirmation answers.
void InboundMessageHandler::obey(const QString &orderName, const ReceivedMessage &message)
{
    Connection &connection = m_session.Conn();
    const std::optional<ReceivedMessage> noted = m_obeyed.find(message);
    // An earlier run obeyed it, and the modem's copy is still there.
    if (noted && !noted->before && message.origin.isLeftOver)
        return;
    const bool mayBeObeyed = noted && noted->before;
    ReceivedMessage command = message;
    const QString number = replyAddress(message.sender);
    command.before = mayBeObeyed ? noted->before : stateBefore(connection, number);
    if (!mayBeObeyed && !m_obeyed.put(command))
        tellFile(m_obeyed);
    const int most = m_replyLimit.left(number);
    QStringList replies;
    handleOrderCommand(connection, orderName, message.sender, message.text, [&](const QString &reply) {
        if (mayBeObeyed && isQueuedSince(connection, *command.before, number, reply))
            return;
        if (replies.size() >= most) // the subscription is switched all the same
            return;
        sysSendSMS(connection, number, {reply});
        replies += reply;
    });
    m_replyLimit.count(number, int(replies.size()));
    for (ReceivedMessage other : QList(m_obeyed.messages())) { // of the same sender, still in doubt
        if (!other.before || replyAddress(other.sender) != number || other.isSameAs(message))
            continue;
        other.before->queued += replies;
        static_cast<void>(m_obeyed.put(other));
    }
    command.before.reset();
    static_cast<void>(m_obeyed.put(command));
    tellFile(m_obeyed);
}

void InboundMessageHandler::store(const ReceivedMessage &message)
{
    // An earlier run stored it, told it, and was killed before the modem's copy was gone.
    if (message.origin.isLeftOver && !m_mayBeStored &&
        (isStored(message) || isRestOfStored(message, partsFollowAtMost)))
        return;
    // A database that carried the insert out and was lost before it could say so.
    if (!m_mayBeStored || !isStored(message)) {
        Recordset received(m_session.Conn());
        received.openForAppend(u"SMS_SIMReceive"_s);
        received.addNew();
        received.set("FromMB"_L1, message.sender);
        received.set("JieSHouDT"_L1, message.receiveTime);
        received.set("MsgContent"_L1, message.text);
        received.update();
    }
    m_mayBeStored = false;
    m_console.addLogLine(u"手机："_s + replyAddress(message.sender) + u"发来短信,时间:"_s +
                         message.receiveTime);
}

bool InboundMessageHandler::isStored(const ReceivedMessage &message)
{
    // Some databases compare no long texts.
    Recordset stored(m_session.Conn());
    stored.open(u"select MsgContent from SMS_SIMReceive where FromMB=? and JieSHouDT=?"_s,
                {message.sender, message.receiveTime});
    return textsOf(stored).contains(message.text);
}

/// Parts that were left of a message that was stored whole: its text holds theirs, in order, and its time,
/// the first part's, is not later than theirs.
bool InboundMessageHandler::isRestOfStored(const ReceivedMessage &message, std::chrono::minutes window)
{
    const QStringList &fragments = message.origin.fragments;
    const QDateTime time = QDateTime::fromString(message.receiveTime, u"yyyy-MM-dd HH:mm:ss"_s);
    if (fragments.isEmpty() || !time.isValid())
        return false;
    Recordset stored(m_session.Conn());
    stored.open(u"select MsgContent from SMS_SIMReceive where FromMB=? and JieSHouDT>=? and JieSHouDT<=?"_s,
                {message.sender,
                 time.addSecs(-std::chrono::seconds(window).count()).toString(u"yyyy-MM-dd HH:mm:ss"_s),
                 message.receiveTime});
    const auto holdsAll = [&fragments](const QString &text) {
        qsizetype at = 0;
        return std::ranges::all_of(fragments, [&](const QString &fragment) {
            const qsizetype found = text.indexOf(fragment, at);
            at = found + fragment.size();
            return found >= 0;
        });
    };
    return std::ranges::any_of(textsOf(stored), holdsAll);
}
