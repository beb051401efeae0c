#include "mailbox/AccountTurns.h"

#include <algorithm>
#include <utility>

using namespace std::chrono_literals;

namespace
{

/// Accounts that are read from the database before there is room for their turns.
constexpr size_t mostComing = 64;
constexpr std::chrono::milliseconds slice = 200ms; // how soon it is noticed that somebody is slow
constexpr std::chrono::milliseconds betweenSigns = 15s;

} // namespace

AccountTurns::AccountTurns(CollectionPass &pass, const TurnLimits &limits) : m_pass(pass), m_limits(limits)
{
    beginPass();
}

AccountTurns::~AccountTurns()
{
    m_pass.isDropped = true;
    while (!isIdle())
        goOn(slice);
}

void AccountTurns::beginPass()
{
    m_sinceBegin.start();
    m_areAllAdded = false;
    m_pass.answeringServers.clear();
    m_pass.silentServers.clear();
    m_pass.databaseGone.reset();
}

bool AccountTurns::isSlow(const AccountDownload &account) const
{
    return account.sinceBegin() >= m_limits.slow;
}

bool AccountTurns::hasPlace(const AccountDownload &account) const
{
    int inPlaces = 0;
    int atServer = 0;
    int busyAtServer = 0; // with slow ones that have something to show
    for (const auto &other : m_underWay) {
        const bool isSameServer = other->server() == account.server();
        // Two sessions at once no mailbox admits, and some servers none at all.
        if (other->mailbox() == account.mailbox() || (isSameServer && account.wantsServerAlone()))
            return false;
        busyAtServer += isSameServer && other->sinceProgress() < m_limits.slow;
        if (isSlow(*other))
            continue;
        ++inPlaces;
        atServer += isSameServer;
    }
    if (m_pass.watch.known().isOneAtATime)
        return m_underWay.empty();
    const bool isEarly = std::chrono::milliseconds(m_sinceBegin.elapsed()) < m_limits.after;
    // Where nobody was let in yet one tries.
    const int mostAtServer = m_pass.answeringServers.contains(account.server()) ? m_limits.atOneServer : 1;
    return inPlaces < (isEarly ? 1 : m_limits.accounts) && atServer < mostAtServer &&
           busyAtServer < m_limits.busyAtOneServer &&
           m_underWay.size() < static_cast<size_t>(m_limits.slowToo);
}

void AccountTurns::add(std::unique_ptr<AccountDownload> account)
{
    const bool goesOn =
        std::ranges::any_of(m_underWay, [&](const auto &other) { return other->isSameAccount(*account); });
    if (goesOn)
        return;
    (account->hungBefore() ? m_last : m_coming).push_back(std::move(account));
    fillPlaces();
    while (m_coming.size() >= mostComing && isAnybodyQuick() && !m_pass.isEnding())
        goOn(slice);
}

bool AccountTurns::isAnybodyQuick() const
{
    return std::ranges::any_of(m_underWay, [this](const auto &account) { return !isSlow(*account); });
}

void AccountTurns::fillPlaces()
{
    if (m_pass.isEnding())
        return;
    auto &waiting = m_areAllAdded && m_coming.empty() && !isAnybodyQuick() ? m_last : m_coming;
    for (auto next = waiting.begin(); next != waiting.end();) {
        if (!hasPlace(**next)) {
            ++next;
            continue;
        }
        AccountDownload *account = m_underWay.emplace_back(std::move(*next)).get();
        next = waiting.erase(next);
        m_pass.pop3.waiter->begin([account] { account->run(); });
    }
}

/// A database lets go of the lock of the collection when its session is silent for 45 s.
void AccountTurns::keepSession()
{
    if (!m_pass.watch.known().areServersSeveral || !m_pass.connection.isOpen() ||
        (m_sinceSign.isValid() && m_sinceSign.elapsed() < betweenSigns.count()))
        return;
    m_sinceSign.start();
    try {
        m_pass.connection.ping();
    } catch (const DatabaseFault &) {
        // The next statement finds it lost.
    }
}

bool AccountTurns::goOn(std::chrono::milliseconds most, int descriptor)
{
    keepSession();
    const bool isUnread = m_pass.pop3.waiter->goOn(most, descriptor);
    for (auto &account : m_underWay) {
        if (account->isOver() && account->wantsServerAlone())
            m_last.push_back(std::move(account));
    }
    std::erase_if(m_underWay, [](const auto &account) { return !account || account->isOver(); });
    fillPlaces();
    return isUnread;
}

void AccountTurns::finishPass()
{
    m_areAllAdded = true;
    fillPlaces();
    while (!isIdle() && (isAnybodyQuick() || m_pass.isEnding()))
        goOn(slice);
    // Who is left waits for somebody slow, in vain for now.
    m_coming.clear();
    m_last.clear();
}

void AccountTurns::goOnUntilReadable(int descriptor)
{
    while (goOn(isIdle() ? betweenSigns : slice, descriptor)) {
    }
}
