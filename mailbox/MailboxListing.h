#pragma once

#include "database/Connection.h"
#include "pop3/Pop3Client.h"

#include <QSet>

/// The messages of one mailbox, sorted into those that VO_Email holds for the account and those that are new.
/// It costs one listing; the database is asked for the listed ones alone, unless they are very many. Unique ids are
/// compared exactly, but for blanks at their end, which fixed-width columns add.
class MailboxListing
{
public:
    /// accountKey: SA_email.OAID. Throws Pop3Fault and DatabaseFault.
    MailboxListing(Pop3Client &client, Connection &connection, qint64 accountKey);

    /// The numbers of the messages that are not stored, ascending; of several with one id only the first.
    /// Messages without a readable id are in neither list.
    [[nodiscard]] QList<int> unstored() const { return numbers(false); }
    /// The numbers of the messages that are stored, ascending.
    [[nodiscard]] QList<int> stored() const { return numbers(true); }
    [[nodiscard]] bool isStored(int number) const { return m_stored.contains(m_ids[number - 1]); }
    [[nodiscard]] const QSet<QString> &storedIds() const { return m_stored; }
    void noteStored(int number) { m_stored.insert(m_ids[number - 1]); }
    /// Several messages carry one id.
    [[nodiscard]] bool hasReusedIds() const { return m_hasReusedIds; }
    /// The ids are the messages' numbers, which others have after a deletion.
    [[nodiscard]] bool hasNumbersForIds() const { return m_hasNumbersForIds; }
    /// Which of these stored messages may be deleted so that none that is stored and stays gets another id.
    [[nodiscard]] QList<int> withoutRenumbering(const QList<int> &numbers) const;
    /// Of the ids in their order.
    [[nodiscard]] QByteArray digest() const;

private:
    [[nodiscard]] QList<int> numbers(bool areStored) const;

    QStringList m_ids; // by number - 1; empty where the server gave none
    QSet<QString> m_stored;
    bool m_hasReusedIds = false;
    bool m_hasNumbersForIds = false;
};
