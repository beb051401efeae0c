#pragma once

#include "mailbox/MailAccount.h"
#include "platform/clock/Clock.h"
#include "pop3/Pop3ConnectResult.h"
#include "pop3/Pop3LoginWays.h"

/// What the run has learnt about an account.
///
/// Providers lock out whoever fails too often. One refused login may be anybody's fault, and the next pass tries
/// again; from the second in a row on, each by another way, it is one in a minute at most, and the distances grow up
/// to an hour.
struct AccountHistory {
    QByteArray account = {}; ///< a digest of the account's row that the rest was learnt from
    Pop3LoginWays ways = {};
    int refusals = 0;                 ///< in a row
    int hangs = 0;                    ///< sessions in a row in which the server fell silent
    std::chrono::milliseconds last{}; ///< when the last login was answered, on the steady clock
    std::chrono::seconds distance{0}; ///< how long after it the next one may come

    /// Answers and questions did not fit together: from now on nothing is asked before the answer before it is
    /// there.
    bool isOneByOne = false;
    /// Digests of the listing of the last session if nothing in it was known, although mails were stored then.
    QByteArray unknownIds = {};
    QByteArray unknownSizes = {};
    bool areIdsChanging = false; ///< other ids with every session, for the same messages

    bool operator==(const AccountHistory &) const = default;
};

/// The part of a history that still holds for the account: none of it once its row has changed.
[[nodiscard]] AccountHistory validHistory(const AccountHistory &history, const MailAccount &account);

/// Is it time for another login? now: on the steady clock, as below.
[[nodiscard]] bool mayLogIn(const AccountHistory &history, std::chrono::milliseconds now);

/// history: valid for the account. What is known after another try.
[[nodiscard]] AccountHistory afterLogin(AccountHistory history, const Pop3ConnectResult &result,
                                        std::chrono::milliseconds now);
/// The server fell silent after the login. The distances grow as those of refused logins.
[[nodiscard]] AccountHistory afterHang(AccountHistory history, std::chrono::milliseconds now);
