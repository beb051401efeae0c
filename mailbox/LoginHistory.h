#pragma once

#include "mailbox/MailAccount.h"
#include "pop3/Pop3ConnectResult.h"
#include "pop3/Pop3LoginWays.h"

#include <QDateTime>

/// What the run has learnt about logging in to an account. Providers lock out whoever fails too often, so
/// one login is refused at most in a minute, and after refusals in a row, each by another way, the distances
/// grow up to an hour.
struct LoginHistory {
    QByteArray account; ///< a digest of the account's row that the rest was learnt from
    Pop3LoginWays ways;
    int refusals = 0;                 ///< in a row
    QDateTime last;                   ///< when the last login was answered
    std::chrono::seconds distance{0}; ///< how long after it the next one may come
};

/// The part of a history that still holds for the account: none of it once its row has changed.
[[nodiscard]] LoginHistory validHistory(const LoginHistory &history, const MailAccount &account);

/// Is it time for another login? A clock that was set back does not make anybody wait.
[[nodiscard]] bool mayLogIn(const LoginHistory &history, const QDateTime &now);

/// history: valid for the account. What is known after another try.
[[nodiscard]] LoginHistory afterLogin(LoginHistory history, const Pop3ConnectResult &result,
                                      const QDateTime &now);
