#include "mailbox/MailboxListing.h"

using namespace Qt::StringLiterals;

namespace
{

QString withoutTrailingBlanks(QString id)
{
    while (id.endsWith(u' '))
        id.chop(1);
    return id;
}

} // namespace

MailboxListing::MailboxListing(Pop3Client &client, Connection &connection, qint64 accountKey)
{
    const int count = client.Count();
    m_ids.reserve(count);
    for (int number = 1; number <= count; ++number)
        m_ids += withoutTrailingBlanks(client.GetMessageUID(number).value_or(QString()));
    if (m_ids.isEmpty())
        return;
    const QSet<QString> listed(m_ids.cbegin(), m_ids.cend());
    connection.scan(u"select MSGID from VO_Email where EOAID=?"_s, {accountKey}, [&](const Statement &row) {
        const QString id = withoutTrailingBlanks(row.value(0).toString());
        if (listed.contains(id))
            m_stored.insert(id);
        return true;
    });
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
