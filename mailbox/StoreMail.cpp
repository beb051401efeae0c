#include "mailbox/StoreMail.h"

#include "database/Recordset.h"
#include "database/Transaction.h"
#include "database/driver/BoundValue.h"
#include "mailbox/RowInsert.h"

using namespace Qt::StringLiterals;

namespace
{

QString shownSubject(const QString &subject)
{
    const bool isBlank = std::all_of(subject.cbegin(), subject.cend(), [](QChar c) { return c == u' '; });
    return isBlank ? u"无标题"_s : subject;
}

bool showsText(const MimeMessage &message)
{
    const QString &type = message.ContentType();
    return type == u"multipart/alternative"_s || type == u"text/plain"_s;
}

QString content(const MimeMessage &message)
{
    if (showsText(message))
        return u"<pre>"_s + message.Body() + u"</pre><br>"_s;
    return message.HTMLBody();
}

QString addresses(const MimeMessage &message, bool areOfTo)
{
    QStringList list;
    for (const MimeRecipient &recipient : message.Recipients()) {
        if ((recipient.ReType == 0) == areOfTo)
            list += recipient.EMail;
    }
    return list.join(u", "_s);
}

/// Without MSGID and EOAID the message would be stored anew in every pass.
QList<ColumnValue> mailColumns(const CollectedMail &mail)
{
    const MimeMessage &message = mail.message;
    QList<ColumnValue> columns = {
        {"EmailSubject"_L1, shownSubject(message.Subject())},
        {"EmailContent"_L1, content(message)},
        {"EmailFromName"_L1, message.FromName()},
        {"EmailFrom"_L1, message.From()},
        {"ImpDegree"_L1, message.Priority()},
        {"EmailStatus"_L1, u"1"_s},
    };
    if (message.Date().isValid())
        columns += {"EmailDate"_L1, message.Date()};
    columns += {
        {"EmailTo"_L1, u"*"_s + mail.userName + u"-0-0-0*"_s},
        {"EmailToDis"_L1, addresses(message, true)},
        {"EmailCC"_L1, addresses(message, false)},
        {"MSGID"_L1, mail.uid, true},
        {"EOAID"_L1, mail.accountKey, true},
        {"EmailSource"_L1, u"2"_s},
    };
    return columns;
}

QList<ColumnValue> attachmentColumns(const QVariant &mailNumber, const MimeAttachment &attachment)
{
    QByteArray octets = attachment.BinaryData();
    if (octets.isNull())
        octets = "";
    return {
        {"EmailID"_L1, mailNumber, true},    {"FileName"_L1, attachment.Name()},
        {"FileTitle"_L1, attachment.Name()}, {"FileType"_L1, attachment.ContentType()},
        {"FileContent"_L1, octets, true},
    };
}

MimeAttachment textAttachment(const QString &text)
{
    const auto octets = std::make_shared<const QByteArray>("\xEF\xBB\xBF" + text.toUtf8());
    return {u"正文.txt"_s, u"text/plain"_s, {octets, *octets}};
}

QList<MimeAttachment> takeAttachments(CollectedMail &mail)
{
    MimeMessage &message = mail.message;
    QList<MimeAttachment> list = message.takeAttachments();
    if (mail.attachHiddenText && !showsText(message) && message.HTMLBody().isEmpty() &&
        !message.Body().isEmpty())
        list.append(textAttachment(message.Body()));
    return list;
}

struct Written {
    QVariant mailNumber;
    bool isWhole = true; // no column and no attachment was refused
};

/// Inside a transaction.
Written write(Connection &connection, CollectedMail mail, const MailTrace &trace)
{
    Written written;
    const auto insert = [&](const QString &table, const QString &identityColumn,
                            const QList<ColumnValue> &columns) {
        const InsertedRow row = insertRow(connection, table, identityColumn, columns);
        written.isWhole = written.isWhole && row.leftOut.isEmpty();
        for (const QLatin1String column : row.leftOut)
            trace.note(u"邮件 %1：数据库不接受 %2.%3 的值"_s.arg(mail.uid, table, column));
        return row.identity;
    };
    written.mailNumber = insert(u"VO_Email"_s, u"VOID"_s, mailColumns(mail));
    QList<MimeAttachment> attachments = takeAttachments(mail);
    while (!attachments.isEmpty()) {
        const QString name = attachments.first().Name();
        // Not kept: when the last one is decoded, nothing holds the message's octets any more.
        const QList<ColumnValue> columns = attachmentColumns(written.mailNumber, attachments.takeFirst());
        try {
            static_cast<void>(insert(u"VO_EmailAttachments"_s, {}, columns));
        } catch (const DatabaseFault &fault) {
            if (!fault.concernsOneRow())
                throw;
            written.isWhole = false;
            trace.note(u"邮件 %1 的附件 %2 未能保存：%3"_s.arg(mail.uid, name, fault.message()));
        }
    }
    return written;
}

/// Of what readers change nothing is compared.
QString comparedColumns(const CollectedMail &mail)
{
    QStringList names;
    for (const ColumnValue &column : mailColumns(mail)) {
        if (!column.isRequired && column.name != "EmailStatus"_L1 && column.name != "EmailTo"_L1)
            names += column.name;
    }
    return names.join(u", "_s);
}

bool areAttachmentsEqual(Connection &connection, const QVariant &mailNumber, const QVariant &otherMailNumber)
{
    const QString list = u"select OAID from VO_EmailAttachments where EmailID=? order by OAID"_s;
    const QString one = u"select FileName, FileTitle, FileType, FileContent from VO_EmailAttachments"
                        " where OAID=?"_s;
    const std::vector<QVariant> keys = connection.query(list, {mailNumber}).values;
    const std::vector<QVariant> others = connection.query(list, {otherMailNumber}).values;
    return std::ranges::equal(keys, others, [&](const QVariant &key, const QVariant &other) {
        return connection.query(one, {key}).values == connection.query(one, {other}).values;
    });
}

} // namespace

void storeMail(Connection &connection, CollectedMail mail, KeptMails &kept, const MailTrace &trace)
{
    const MailKey key{mail.accountKey, mail.uid};
    Transaction transaction(connection);
    if (!write(connection, std::move(mail), trace).isWhole)
        kept.add(key);
    transaction.commit();
}

Stored whatIsStored(Connection &connection, CollectedMail mail)
{
    const QStringList tables = connection.tablesWithoutTransactions();
    if (tables.contains("vo_email"_L1) || tables.contains("vo_emailattachments"_L1))
        return Stored::Unknown;
    const QString columns = u"select %1 from VO_Email where VOID=?"_s.arg(comparedColumns(mail));
    const QString uid = std::exchange(mail.uid, u""_s);
    const QVariant account = mail.accountKey;
    const Transaction toBeRolledBack(connection);
    const Written written = write(connection, std::move(mail), MailTrace());
    if (!written.isWhole)
        return Stored::Unknown;
    const std::vector<QVariant> row = connection.query(columns, {written.mailNumber}).values;
    Recordset stored(connection);
    for (stored.open(u"select VOID, MSGID from VO_Email where EOAID=? and MSGID=?"_s, {account, uid});
         !stored.atEnd(); stored.moveNext()) {
        const QVariant number = stored.value("VOID"_L1);
        if (withoutPadding(stored.text("MSGID"_L1)) == uid &&
            connection.query(columns, {number}).values == row &&
            areAttachmentsEqual(connection, number, written.mailNumber))
            return Stored::Whole;
    }
    return Stored::Other;
}
