#include "mailbox/MailboxListing.h"

#include "database/driver/BoundValue.h"

#include <QCryptographicHash>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

/// Ids in a statement, which is always the same one and stays prepared.
constexpr qsizetype sliceSize = 32;
/// Of so many ids one reading of all that the account ever stored costs no more.
constexpr qsizetype mostSlices = 32;

} // namespace

MailboxListing::MailboxListing(Pop3Client &client, Connection &connection, qint64 accountKey)
{
    const int count = client.Count();
    m_ids.reserve(count);
    m_hasNumbersForIds = count > 0;
    QSet<QString> listed;
    for (int number = 1; number <= count; ++number) {
        const QString id = withoutPadding(client.GetMessageUID(number).value_or(QString()));
        m_hasReusedIds = m_hasReusedIds || (!id.isEmpty() && listed.contains(id));
        m_hasNumbersForIds = m_hasNumbersForIds && id == QString::number(number);
        m_ids += id;
        listed.insert(id);
    }
    listed.remove(QString());
    const auto note = [&](const Statement &row) {
        const QString id = withoutPadding(row.value(0).toString());
        if (listed.contains(id))
            m_stored.insert(id);
        return true;
    };
    const QString ofAccount = u"select MSGID from VO_Email where EOAID=?"_s;
    if (listed.size() > mostSlices * sliceSize) {
        connection.scan(ofAccount, {accountKey}, note);
        return;
    }
    const QString slice = ofAccount + u" and MSGID in (?"_s + u",?"_s.repeated(sliceSize - 1) + u')';
    for (auto id = listed.cbegin(); id != listed.cend();) {
        QVariantList values{accountKey};
        for (QString last; values.size() <= sliceSize; values += last) // filled up with the last one
            last = id == listed.cend() ? last : *id++;
        connection.scan(slice, values, note);
    }
}

QList<int> MailboxListing::withoutRenumbering(const QList<int> &numbers) const
{
    if (!m_hasNumbersForIds)
        return numbers;
    const QList<int> all = stored();
    const auto behind = std::mismatch(numbers.crbegin(), numbers.crend(), all.crbegin(), all.crend()).first;
    return {behind.base(), numbers.cend()};
}

QByteArray MailboxListing::digest() const
{
    return QCryptographicHash::hash(m_ids.join(u'\n').toUtf8(), QCryptographicHash::Sha1).toHex();
}

QList<int> MailboxListing::numbers(bool areStored) const
{
    QList<int> numbers;
    QSet<QString> seen;
    for (int number = 1; number <= m_ids.size(); ++number) {
        const QString &id = m_ids[number - 1];
        if (id.isEmpty() || m_stored.contains(id) != areStored || (!areStored && seen.contains(id)))
            continue;
        seen.insert(id);
        numbers += number;
    }
    return numbers;
}
