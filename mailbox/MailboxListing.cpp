#include "mailbox/MailboxListing.h"

#include "database/driver/BoundValue.h"

#include <QCryptographicHash>

using namespace Qt::StringLiterals;

MailboxListing::MailboxListing(Pop3Client &client, Connection &connection, qint64 accountKey)
{
    const int count = client.Count();
    m_ids.reserve(count);
    QSet<QString> listed;
    for (int number = 1; number <= count; ++number) {
        const QString id = withoutPadding(client.GetMessageUID(number).value_or(QString()));
        m_hasReusedIds = m_hasReusedIds || (!id.isEmpty() && listed.contains(id));
        m_ids += id;
        listed.insert(id);
    }
    if (m_ids.isEmpty())
        return;
    connection.scan(u"select MSGID from VO_Email where EOAID=?"_s, {accountKey}, [&](const Statement &row) {
        const QString id = withoutPadding(row.value(0).toString());
        if (listed.contains(id))
            m_stored.insert(id);
        return true;
    });
}

QByteArray MailboxListing::digest() const
{
    QCryptographicHash hash(QCryptographicHash::Sha1);
    for (const QString &id : m_ids)
        hash.addData(id.toUtf8() + '\n');
    return hash.result().toHex();
}

QList<int> MailboxListing::unstored() const
{
    QList<int> numbers;
    QSet<QString> seen = m_stored;
    seen.insert(QString());
    for (int number = 1; number <= m_ids.size(); ++number) {
        if (const QString &id = m_ids[number - 1]; !seen.contains(id)) {
            seen.insert(id);
            numbers += number;
        }
    }
    return numbers;
}

QList<int> MailboxListing::stored() const
{
    QList<int> numbers;
    for (int number = 1; number <= m_ids.size(); ++number) {
        if (const QString &id = m_ids[number - 1]; !id.isEmpty() && m_stored.contains(id))
            numbers += number;
    }
    return numbers;
}
