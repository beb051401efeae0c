#include "pop3/Pop3Connector.h"

#include "pop3/LoginRefusal.h"

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{

constexpr std::chrono::milliseconds openingSlice(200); // how soon a limit or a stop request is noticed
constexpr auto userPass = "USER";
constexpr auto apop = "APOP";

// The mechanisms that need nothing but a login and a password, those that hide the password first.
constexpr std::array mechanisms{"DIGEST-MD5", "CRAM-MD5", "NTLM", "PLAIN", "LOGIN"};

QByteArray curlOptionFor(const QByteArray &way)
{
    return way == apop ? "AUTH=+APOP"_ba : "AUTH=" + way;
}

/// Leaves the choice to curl, but for what was refused.
QByteArray curlOptionWithout(const QByteArrayList &refused)
{
    if (refused.isEmpty())
        return {};
    QByteArrayList allowed;
    for (const char *mechanism : mechanisms) {
        if (!refused.contains(mechanism))
            allowed += curlOptionFor(mechanism);
    }
    return allowed.isEmpty() ? curlOptionFor(apop) : allowed.join(';');
}

bool isRefusal(Pop3ConnectOutcome outcome)
{
    return outcome == Pop3ConnectOutcome::LoginRefused || outcome == Pop3ConnectOutcome::CodeWanted;
}

} // namespace

Pop3Connector::Pop3Connector(Pop3Account account, Pop3LoginWays ways, const Pop3Options &options,
                             Pop3Observer &observer, Pop3Waiter &waiter)
    : m_account(std::move(account)),
      m_ways(std::move(ways)),
      m_options(options),
      m_observer(observer),
      m_waiter(waiter),
      m_tried(m_ways.refused)
{
}

Pop3ConnectResult Pop3Connector::connect()
{
    if (m_ways.proven == userPass)
        start({{}, false});
    else
        start({m_ways.proven.isEmpty() ? curlOptionWithout(m_ways.refused) : curlOptionFor(m_ways.proven)});
    for (;;) {
        while (m_attempt->isUnderWay())
            m_waiter.wait(nullptr, openingSlice);
        if (!m_next)
            break;
        start(*std::exchange(m_next, std::nullopt));
    }
    if (m_attempt->hasLine())
        logInByUserPass();
    m_result.loginDelay = m_observer.capabilities().loginDelay;
    return m_result;
}

void Pop3Connector::start(const Pop3Attempt::Way &way)
{
    m_attempt.emplace(m_account, way, m_options, m_observer, m_waiter,
                      [this](const Pop3ConnectResult &result) { ended(result); });
}

void Pop3Connector::ended(const Pop3ConnectResult &result)
{
    m_result = result;
    if (result.connected() && !m_attempt->way().withLogin)
        return; // connect() goes on
    m_result.way = m_observer.loginWay();
    if (result.connected())
        m_dialogue = std::make_unique<Pop3Dialogue>(m_attempt->takeLine(), m_waiter, m_options, m_observer);
    else
        m_next = wayAfter(m_attempt->way());
}

std::optional<Pop3Attempt::Way> Pop3Connector::wayAfter(const Pop3Attempt::Way &way)
{
    const bool lostDuringLogin = m_result.outcome == Pop3ConnectOutcome::LineLost && !m_result.way.isEmpty();
    if (!way.withLogin || (!isRefusal(m_result.outcome) && !lostDuringLogin))
        return std::nullopt;
    const QByteArray &reply = m_observer.lastReply();
    m_tried << m_result.way << way.loginOptions.mid(way.loginOptions.lastIndexOf('=') + 1);
    if (way.loginOptions == curlOptionFor(apop))
        m_tried << apop;
    const QByteArrayList left = waysLeft();
    m_result.otherWaysLeft = !left.isEmpty();
    const bool wasTried = !m_result.way.isEmpty() && !isUnknownWay(reply, m_observer.presentable(reply));
    if (left.isEmpty() || wasTried)
        return std::nullopt;
    if (left.first() == userPass)
        return Pop3Attempt::Way{{}, false};
    return Pop3Attempt::Way{curlOptionFor(left.first())};
}

QByteArrayList Pop3Connector::waysLeft() const
{
    QByteArrayList ways;
    for (const char *mechanism : mechanisms) {
        if (m_observer.capabilities().saslMechanisms.contains(mechanism))
            ways += mechanism;
    }
    if (m_observer.offersApop())
        ways += apop;
    ways += userPass;
    ways.removeIf([&](const QByteArray &way) { return m_tried.contains(way); });
    return ways;
}

void Pop3Connector::logInByUserPass()
{
    m_result.way = userPass;
    m_tried += userPass;
    auto line = std::make_unique<Pop3Dialogue>(m_attempt->takeLine(), m_waiter, m_options, m_observer);
    line->limitSilence(m_options.limits.login);
    try {
        line->send("USER " + m_account.login);
        Pop3Reply reply = line->readReply();
        if (reply.ok) {
            line->send("PASS " + m_account.password);
            reply = line->readReply();
        }
        if (!reply.ok) {
            m_result = refusedLogin(m_account.server, reply.text, m_observer.presentable(reply.text));
            m_result.way = userPass;
            m_result.otherWaysLeft = isRefusal(m_result.outcome) && !waysLeft().isEmpty();
            return;
        }
        line->limitSilence(m_options.limits.stall);
        m_dialogue = std::move(line);
    } catch (const Pop3Fault &fault) {
        m_result.text = fault.message();
        m_result.outcome = fault.kind() == Pop3Fault::Kind::TimedOut  ? Pop3ConnectOutcome::TimedOut
                           : fault.kind() == Pop3Fault::Kind::Stopped ? Pop3ConnectOutcome::Stopped
                                                                      : Pop3ConnectOutcome::LineLost;
    }
}
