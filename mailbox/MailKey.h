#pragma once

#include <QHashFunctions>
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
