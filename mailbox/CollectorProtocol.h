#pragma once

#include "mailbox/CollectorState.h"

#include <optional>
#include <variant>

/// What the service and its collector tell each other: a line a message, which is a struct's fields in their order as
/// QDataStream writes them, in base64. A line that is torn, or that some library printed, costs itself alone. Both
/// ends are one program, so that the form may change with every version.
namespace CollectorProtocol
{

/// To the collector, for each pass.
[[nodiscard]] QByteArray encode(const CollectorState &state);
/// Nothing for a line that is no whole state.
[[nodiscard]] std::optional<CollectorState> decodeState(const QByteArray &line);

/// From the collector.
struct AccountBegins {
    qint64 accountKey = 0;
    QString mailbox; ///< for people
};
struct AccountLearnt {
    qint64 accountKey = 0;
    QString mailbox; ///< for people
    AccountHistory history;
};
/// The account's turn is over. cause: why its mailbox was not emptied; empty when it was.
struct AccountEnds {
    qint64 accountKey = 0;
    QString mailbox; ///< for people
    QString cause;
};
struct MailLearnt {
    MailKey mail;
    BrokenMail broken;
};
/// A mail was retrieved and is read and stored from here to MailEnds.
struct MailBegins {
    MailKey mail;
    QString mailbox; ///< for people
};
struct MailEnds {
    bool isCollected = false; ///< stored just now
};
/// Characters that this table cannot hold were replaced.
struct CharactersReplaced {
    QString table;
};
/// Everybody had a turn; those that are slow go on.
struct PassEnds {
};
/// The pass ended early.
struct PassFailed {
    bool databaseGone = false; ///< else it concerns the collection alone
    QString cause;
};
using Report = std::variant<AccountBegins, AccountLearnt, AccountEnds, MailLearnt, MailBegins, MailEnds,
                            CharactersReplaced, PassFailed, PassEnds>;

/// Octets of a report, its line end included. A longer one is not told, and nobody waits for its end.
inline constexpr qsizetype longestReport = 1 << 20;
/// Empty when it would be longer.
[[nodiscard]] QByteArray encode(const Report &report);
/// Nothing for a line that is no whole report.
[[nodiscard]] std::optional<Report> decodeReport(const QByteArray &line);

} // namespace CollectorProtocol
