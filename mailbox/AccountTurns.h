#pragma once

#include "mailbox/AccountDownload.h"

#include <deque>
#include <memory>
#include <vector>

/// How many accounts at most have their turn beside each other.
struct TurnLimits {
    int accounts = 16;
    int atOneServer = 4;      ///< is no burden to any
    int busyAtOneServer = 12; ///< with slow ones that are not silent
    int slowToo = 100;        ///< those included that are silent or slow
    /// A pass that is over sooner goes one by one, which is easier to follow.
    std::chrono::milliseconds after{1000};
    /// Whoever takes longer gives its place up to the next one, and goes on beside it.
    std::chrono::milliseconds slow{3000};
};

/// The turns of the accounts: begun in the order of users and accounts, going on in the order in which they are ready;
/// last those that hung before. Who is slow in one pass goes on beside the next.
///
/// Rejected: one after the other. 200 accounts with nothing new, on a line with a round trip of 20 ms: 43 s so, and
/// fifty servers that hang cost the others three minutes even if each is given three seconds.
class AccountTurns
{
public:
    /// pass must outlive it.
    explicit AccountTurns(CollectionPass &pass, const TurnLimits &limits = {});
    /// Waits until those under way have noticed.
    ~AccountTurns();
    AccountTurns(const AccountTurns &) = delete;
    AccountTurns &operator=(const AccountTurns &) = delete;

    [[nodiscard]] CollectionPass &pass() { return m_pass; }

    /// A pass begins.
    void beginPass();
    /// The account has its turn in this pass, unless the one before still goes on.
    void add(std::unique_ptr<AccountDownload> account);
    /// Until everybody had a turn; those that are slow may go on.
    void finishPass();
    /// Those that are slow go on until the descriptor can be read.
    void goOnUntilReadable(int descriptor);
    [[nodiscard]] bool isIdle() const { return m_underWay.empty(); }

private:
    [[nodiscard]] bool isSlow(const AccountDownload &account) const;
    [[nodiscard]] bool isAnybodyQuick() const;
    [[nodiscard]] bool hasPlace(const AccountDownload &account) const;
    void fillPlaces();
    void keepSession();
    bool goOn(std::chrono::milliseconds most, int descriptor = -1);

    CollectionPass &m_pass;
    const TurnLimits m_limits;
    QElapsedTimer m_sinceBegin;
    QElapsedTimer m_sinceSign;
    bool m_areAllAdded = false;
    std::deque<std::unique_ptr<AccountDownload>> m_coming;
    std::deque<std::unique_ptr<AccountDownload>> m_last; // after those
    std::vector<std::unique_ptr<AccountDownload>> m_underWay;
};
