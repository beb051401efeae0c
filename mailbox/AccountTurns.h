#pragma once

#include "mailbox/AccountDownload.h"

#include <deque>
#include <memory>
#include <vector>

/// How many accounts at most are logged in to before their turn; one is no burden to any server.
struct LoginsAhead {
    int accounts = 8;
    int atOneServer = 4;
    /// A pass that is over sooner goes one by one, which is easier to follow.
    std::chrono::milliseconds after{1000};
};

/// The turns of the accounts in a pass, one after the other in the order of users and accounts. In a pass that takes
/// longer the accounts that come next are logged in to while one has its turn, so that their waits overlap.
///
/// Rejected: a login only when the one before has ended, which spends the pass in waiting. 200 accounts with nothing
/// new, on a line with a round trip of 20 ms: 43 s so, 10 s with eight ahead. Nor sessions in full beside each other:
/// what is stored in which order would then hang on the servers, and the memory on all of them.
class AccountTurns
{
public:
    /// users: of the pass, in their order; without them only the accounts of one user overlap. pass must outlive it.
    explicit AccountTurns(CollectionPass &pass, QStringList users = {}, const LoginsAhead &ahead = {});

    [[nodiscard]] CollectionPass &pass() { return m_pass; }

    /// The accounts of the next user get their turns. Throws DatabaseFault.
    void beginUser(const QString &userName);
    /// The user's next account, or null.
    [[nodiscard]] std::unique_ptr<AccountDownload> takeNext();
    /// Begins to log in to accounts that come after current.
    void logInAhead(const AccountDownload &current);

private:
    using Accounts = std::deque<std::unique_ptr<AccountDownload>>;
    [[nodiscard]] Accounts load(const QString &userName) const;
    /// The next accounts, those of the next users included.
    [[nodiscard]] std::vector<AccountDownload *> comingTurns();

    CollectionPass &m_pass;
    QStringList m_coming; // users whose accounts are not loaded yet
    const LoginsAhead m_ahead;
    QElapsedTimer m_sinceBegin;
    std::deque<Accounts> m_loaded; // of the users before those
    Accounts m_current;
};
