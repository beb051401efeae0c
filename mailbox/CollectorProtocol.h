#pragma once

#include "database/DatabaseFault.h"
#include "mailbox/CollectionWatch.h"

#include <QSet>

#include <optional>
#include <variant>

/// What the service and its collector tell each other: one line of JSON a message.
namespace CollectorProtocol
{

/// To the process, once, at its start: what earlier ones found.
struct Order {
    QSet<MailKey> passedOverMails;
    QSet<qint64> passedOverAccounts;
    QHash<qint64, AccountHistory> histories; ///< by account
    QSet<MailKey> plainMails;                ///< to be read by the plain reader
    bool isOneAtATime = false;               ///< log in to an account in its turn only
};
[[nodiscard]] QByteArray encode(const Order &order);
[[nodiscard]] Order decodeOrder(const QByteArray &line);

/// From the process.
struct AccountBegins {
    qint64 accountKey = 0;
    QString mailbox; ///< for people
};
struct AccountLearnt {
    qint64 accountKey = 0;
    AccountHistory history;
};
struct MailBegins {
    MailKey mail;
};
struct MailEnds {
};
/// Characters that this table cannot hold were replaced.
struct CharactersReplaced {
    QString table;
};
/// The pass ended early.
struct PassFailed {
    bool databaseGone = false; ///< else it concerns the collection alone
    QString cause;
};
using Report =
    std::variant<AccountBegins, AccountLearnt, MailBegins, MailEnds, CharactersReplaced, PassFailed>;
[[nodiscard]] QByteArray encode(const Report &report);
/// Nothing for a line that is none of them.
[[nodiscard]] std::optional<Report> decodeReport(const QByteArray &line);

} // namespace CollectorProtocol
