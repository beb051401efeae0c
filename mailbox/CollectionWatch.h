#pragma once

#include "mailbox/AccountHistory.h"

#include <QHash>
#include <QString>

/// A mail on a server: the account (SA_email.OAID) and its unique id there.
struct MailKey {
    qint64 accountKey = 0;
    QString uid;

    bool operator==(const MailKey &) const = default;
};

inline size_t qHash(const MailKey &key, size_t seed = 0)
{
    return qHashMulti(seed, key.accountKey, key.uid);
}

/// Follows a collection pass and may have accounts and mails left out. It is told before anything of a
/// stranger's is read, so that whoever outlives the pass knows what it died of. This one lets everything pass.
class CollectionWatch
{
public:
    CollectionWatch() = default;
    virtual ~CollectionWatch() = default;
    CollectionWatch(const CollectionWatch &) = delete;
    CollectionWatch &operator=(const CollectionWatch &) = delete;

    /// Is this account to be collected?
    [[nodiscard]] virtual bool admitsAccount(qint64 /*accountKey*/) const { return true; }
    /// An account's turn begins. mailbox: what it is, for people.
    virtual void beginAccount(qint64 /*accountKey*/, const QString & /*mailbox*/) {}
    /// What earlier passes learnt about the account, and what this one did.
    [[nodiscard]] virtual AccountHistory history(qint64 /*accountKey*/) const { return {}; }
    virtual void noteHistory(qint64 /*accountKey*/, const AccountHistory & /*history*/) {}
    /// Is this mail to be collected? When not, it stays on the server.
    [[nodiscard]] virtual bool admits(const MailKey & /*mail*/) const { return true; }
    /// Is it to be read by the plain reader, for the usual one did not survive it?
    [[nodiscard]] virtual bool readsPlainly(const MailKey & /*mail*/) const { return false; }
    /// The mail was retrieved and is read and stored from here to endMail().
    virtual void beginMail(const MailKey & /*mail*/) {}
    virtual void endMail() {}
};
