#include "app/Explanation.h"

#include "database/Recordset.h"
#include "foundation/DateTimeValue.h"
#include "foundation/UserDirectory.h"
#include "outgoing/MessageStatus.h"
#include "outgoing/ScheduledMessageExpander.h"

#include <QFile>
#include <QHash>
#include <QRegularExpression>
#include <QSet>

using namespace Qt::StringLiterals;

namespace
{

/// As many lines of one kind as a person would read.
constexpr qsizetype mostLines = 100;

/// Adds lines of which there may be many.
void addSome(QStringList &lines, const QStringList &some)
{
    for (const QString &line : some.first(qMin(some.size(), mostLines)))
        lines += u"  "_s + line;
    if (some.size() > mostLines)
        lines += u"  ……"_s;
}

/// Why messages failed, as a log tells it.
class FailureCauses
{
public:
    explicit FailureCauses(const QString &logFile)
    {
        static const QRegularExpression line(u"^(.{19}) 手机号码：(.*)，失败原因：(.*)$"_s);
        for (const QString &name : {logFile + u".1"_s, logFile}) {
            QFile file(name);
            if (logFile.isEmpty() || !file.open(QIODevice::ReadOnly))
                continue;
            while (!file.atEnd()) {
                if (const auto match = line.match(QString::fromUtf8(file.readLine()).trimmed());
                    match.hasMatch())
                    m_causes[match.captured(2)].append({match.captured(1), match.captured(3)});
            }
        }
    }

    /// Of the last message to that number that had failed by then.
    [[nodiscard]] QString text(const QString &number, const QString &until) const
    {
        QString text = u"发送失败，这个服务器的日志中没有原因"_s;
        for (const auto &[time, cause] : m_causes.value(number)) {
            if (time <= until)
                text = u"发送失败（%1），原因：%2"_s.arg(time, cause);
        }
        return text;
    }

private:
    QHash<QString, QList<std::pair<QString, QString>>> m_causes; // by number: time and cause, oldest first
};

/// What there is to ask.
struct Sources {
    Connection &connection;
    const QDateTime now;
    const FailureCauses causes;
};

QString timeText(const QDateTime &time)
{
    return time.toString(u"yyyy-MM-dd HH:mm:ss"_s);
}

/// Recipients of a message but for those that are known, with a word on each, from its number.
QStringList recipientLines(Connection &connection, const Recordset &message, const QSet<QString> &known,
                           QString (*word)(const QString &mobile))
{
    QStringList lines;
    for (const QString &recipient : recipientItems(message.text("ToUserList"_L1))) {
        if (!recipient.isEmpty() && !known.contains(recipient) && lines.size() <= mostLines)
            lines += recipient + word(getUserMB(connection, recipient));
    }
    return lines;
}

QStringList explainWaiting(const Sources &sources, qint64 id)
{
    Recordset row(sources.connection);
    row.open(u"select ToSendDT, ToUserList from SMS_WaitToSend where OAID=?"_s, {id});
    if (row.atEnd())
        return {
            u"SMS_WaitToSend 中没有 OAID 为 %1 的短信：已到时间进入队列（在 SMS_SendList 中按内容查出编号，"
            "再用 --explain sent 编号），或已由办公系统撤回，或没有写入过"_s.arg(id)};
    const auto due = dateTimeValue(row.value("ToSendDT"_L1));
    if (!due)
        return {u"发送时间为空或不是有效的日期时间，不会发送，要由办公系统改正"_s};
    if (row.value("ToUserList"_L1).isNull())
        return {u"收件人列表为空值，不会发送，要由办公系统改正"_s};
    const QString time = timeText(*due);
    QStringList lines{*due > sources.now
                          ? u"定于 %1 发送，时间还没有到（现在是 %2）"_s.arg(time, timeText(sources.now))
                          : u"应于 %1 发送，时间已到，等待下一次扫描放入队列"_s.arg(time)};
    lines += u"收件人："_s;
    addSome(lines, recipientLines(sources.connection, row, {}, [](const QString &mobile) {
                return mobile.isEmpty() ? u"：查不到手机号码，将跳过"_s : u"："_s + mobile;
            }));
    return lines;
}

/// Fixed-length columns pad the text with blanks.
bool hasStatus(const Recordset &row, MessageStatus status)
{
    return row.text("MsgStatus"_L1).trimmed() == QString::number(int(status));
}

QString statusText(const Sources &sources, const Recordset &row)
{
    if (hasStatus(row, MessageStatus::Waiting))
        return u"等待发送"_s;
    return (hasStatus(row, MessageStatus::Failed)
                ? sources.causes.text(row.text("ToMB"_L1), timeText(sources.now))
                : u"已经发送"_s) +
           u"，等待归档"_s;
}

QString resultText(const Sources &sources, const Recordset &row)
{
    if (row.text("IsSuccess"_L1).trimmed() == u"1")
        return u"发送成功"_s;
    return sources.causes.text(row.text("ToMB"_L1),
                               timeText(dateTimeValue(row.value("SendOutDT"_L1)).value_or(sources.now)));
}

QStringList explainQueue(const Sources &sources, qint64 id)
{
    Recordset row(sources.connection);
    row.open(u"select SOAID, ToUser, ToMB, MsgContent, MsgStatus from SMS_Queues where OAID=?"_s, {id});
    if (row.atEnd())
        return {u"SMS_Queues 中没有 OAID 为 %1 的短信：已归档到 SMS_ResultDetail（用 --explain sent SOAID "
                u"号码 查询），"
                "或没有写入过"_s.arg(id)};
    QStringList lines{u"发给 %1（%2），SMS_SendList 编号 %3：%4"_s.arg(
        row.text("ToMB"_L1), row.text("ToUser"_L1), row.text("SOAID"_L1), statusText(sources, row))};
    if (!hasStatus(row, MessageStatus::Waiting))
        return lines;
    if (row.value("ToMB"_L1).isNull() || row.value("MsgContent"_L1).isNull())
        lines += u"号码或内容为空值，下一次发送时记为失败"_s;
    const auto before = sources.connection.firstValue(
        u"select count(*) from SMS_Queues where MsgStatus='0' and OAID<?"_s, {id});
    lines += u"排在它前面的有 %1 条"_s.arg(before.value_or(QVariant()).toLongLong());
    return lines;
}

QStringList explainSent(const Sources &sources, const Question &question)
{
    Connection &connection = sources.connection;
    Recordset message(connection);
    message.open(u"select ToUserList, CreateDT from SMS_SendList where OAID=?"_s, {question.id});
    const bool isSingle = question.id == -1;
    if (message.atEnd() && !isSingle)
        return {u"SMS_SendList 中没有 OAID 为 %1 的短信"_s.arg(question.id)};
    QStringList lines{isSingle ? u"单条短信（确认、提醒），收件号码 "_s + question.number
                               : u"群发短信，写入于 "_s + message.text("CreateDT"_L1)};
    QString condition = u" where SOAID=?"_s;
    QVariantList values{question.id};
    if (!question.number.isEmpty()) {
        condition += u" and ToMB=?"_s;
        values += question.number;
    }
    QSet<QString> known;
    const auto addRows = [&](const QString &query, const auto &word) {
        QStringList told;
        Recordset rows(connection);
        for (rows.open(query.arg(condition), values); !rows.atEnd(); rows.moveNext()) {
            known += rows.text("ToUser"_L1);
            told += word(rows, u"%1（%2）"_s.arg(rows.text("ToMB"_L1), rows.text("ToUser"_L1)));
        }
        addSome(lines, told);
    };
    addRows(u"select OAID, ToUser, ToMB, MsgStatus from SMS_Queues%1 order by OAID"_s,
            [&](const auto &row, const QString &to) {
                return u"队列 OAID %1，%2：%3"_s.arg(row.text("OAID"_L1), to, statusText(sources, row));
            });
    addRows(u"select ToUser, ToMB, SendOutDT, IsSuccess from SMS_ResultDetail%1 order by OAID desc"_s,
            [&](const auto &row, const QString &to) {
                return u"已归档，%1，%2：%3"_s.arg(to, row.text("SendOutDT"_L1), resultText(sources, row));
            });
    if (known.isEmpty())
        lines += u"队列和归档中都没有它的记录"_s;
    if (!isSingle && question.number.isEmpty())
        addSome(lines, recipientLines(connection, message, known, [](const QString &mobile) {
                    return mobile.isEmpty() ? u"：查不到手机号码，已跳过"_s
                                            : u"：没有记录，可能已被删除，或当时查不到手机号码"_s;
                }));
    return lines;
}

} // namespace

QStringList explain(Connection &connection, const Question &question, const QDateTime &now,
                    const QString &logFile)
{
    const Sources sources{connection, now, FailureCauses(logFile)};
    switch (question.about) {
    case Question::About::Waiting:
        return explainWaiting(sources, question.id);
    case Question::About::Queue:
        return explainQueue(sources, question.id);
    case Question::About::Sent:
        return explainSent(sources, question);
    }
    return {};
}
