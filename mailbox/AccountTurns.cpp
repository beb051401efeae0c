#include "mailbox/AccountTurns.h"

AccountTurns::AccountTurns(CollectionPass &pass, QStringList users, const LoginsAhead &ahead)
    : m_pass(pass), m_coming(std::move(users)), m_ahead(ahead)
{
    m_sinceBegin.start();
}

AccountTurns::Accounts AccountTurns::load(const QString &userName) const
{
    Accounts turns;
    const QList<MailAccount> accounts = mailAccounts(m_pass.connection, userName);
    for (const MailAccount &account : accounts)
        turns.push_back(std::make_unique<AccountDownload>(userName, account, m_pass));
    return turns;
}

void AccountTurns::beginUser(const QString &userName)
{
    m_current.clear();
    if (!m_loaded.empty()) {
        m_current = std::move(m_loaded.front());
        m_loaded.pop_front();
        return;
    }
    if (!m_coming.isEmpty())
        m_coming.removeFirst();
    m_current = load(userName);
}

std::unique_ptr<AccountDownload> AccountTurns::takeNext()
{
    if (m_current.empty())
        return nullptr;
    auto turn = std::move(m_current.front());
    m_current.pop_front();
    return turn;
}

std::vector<AccountDownload *> AccountTurns::comingTurns()
{
    std::vector<AccountDownload *> turns;
    const auto most = static_cast<size_t>(m_ahead.accounts);
    const auto add = [&](const Accounts &accounts) {
        for (auto turn = accounts.cbegin(); turn != accounts.cend() && turns.size() < most; ++turn)
            turns.push_back(turn->get());
    };
    add(m_current);
    for (const Accounts &accounts : m_loaded)
        add(accounts);
    while (!m_coming.isEmpty() && turns.size() < most) {
        try {
            m_loaded.push_back(load(m_coming.constFirst()));
        } catch (const DatabaseFault &) {
            break; // in the user's own turn it is dealt with
        }
        m_coming.removeFirst();
        add(m_loaded.back());
    }
    return turns;
}

void AccountTurns::logInAhead(const AccountDownload &current)
{
    if (m_pass.watch.known().isOneAtATime || m_ahead.accounts == 0 ||
        std::chrono::milliseconds(m_sinceBegin.elapsed()) < m_ahead.after)
        return;
    QHash<QString, int> sessions{{current.server(), 1}}; // by server
    QSet<QString> mailboxes{current.mailbox()};
    for (AccountDownload *turn : comingTurns()) {
        // Where nobody was let in yet one tries; two sessions at once no mailbox admits.
        const int most = m_pass.answeringServers.contains(turn->server()) ? m_ahead.atOneServer : 0;
        int &others = sessions[turn->server()];
        const bool isFree = others <= most && !mailboxes.contains(turn->mailbox());
        mailboxes.insert(turn->mailbox());
        if (turn->isBegun() || (isFree && turn->logInAhead()))
            ++others;
    }
}
