#include "mailbox/AccountHistory.h"

#include <QCryptographicHash>

using namespace std::chrono_literals;
using std::chrono::seconds;

namespace
{

constexpr seconds shortestDistance = 1min;
constexpr seconds longestDistance = 1h;

seconds distanceAfter(int refusals)
{
    constexpr int mostDoublings = 6;
    if (refusals < 2)
        return 0s;
    return std::min(shortestDistance * (1 << std::min(refusals - 2, mostDoublings)), longestDistance);
}

QByteArray digest(const MailAccount &account)
{
    const QStringList row{account.POPIP, QString::number(account.PopPort), account.EUsername,
                          account.EPassword};
    return QCryptographicHash::hash(row.join(QChar(u'\0')).toUtf8(), QCryptographicHash::Sha256).toHex();
}

} // namespace

AccountHistory validHistory(const AccountHistory &history, const MailAccount &account)
{
    const QByteArray current = digest(account);
    if (history.account == current)
        return history;
    AccountHistory fresh;
    fresh.account = current;
    return fresh;
}

bool mayLogIn(const AccountHistory &history, std::chrono::milliseconds now)
{
    return history.last + history.distance <= now;
}

AccountHistory afterHang(AccountHistory history, std::chrono::milliseconds now)
{
    history.last = now;
    history.distance = distanceAfter(++history.hangs + 1);
    return history;
}

AccountHistory afterLogin(AccountHistory history, const Pop3ConnectResult &result,
                          std::chrono::milliseconds now)
{
    using enum Pop3ConnectOutcome;
    const auto waits = [&](seconds distance) {
        history.last = now;
        history.distance = std::max(distance, result.loginDelay);
    };
    const auto wasRefused = [&] {
        history.ways.proven.clear();
        if (result.otherWaysLeft)
            history.ways.refused += result.way;
        else
            history.ways.refused.clear(); // begins anew with the first
        waits(distanceAfter(++history.refusals));
    };
    switch (result.outcome) {
    case Connected:
        history.ways = {result.way, {}};
        history.refusals = 0;
        waits(0s);
        break;
    case LoginRefused:
    case CodeWanted:
        wasRefused();
        break;
    case LineLost: // some servers hang up on who may not come in
        if (!result.way.isEmpty())
            wasRefused();
        break;
    case TooOften:
        waits(std::max(distanceAfter(++history.refusals), shortestDistance));
        break;
    case MailboxInUse:
    case ServerUnwell:
        waits(std::min(distanceAfter(++history.refusals), shortestDistance));
        break;
    case TimedOut:
        return afterHang(history, now);
    case InvalidAccount:
    case HostUnreachable:
    case TlsRefused:
    case Stopped:
        break;
    }
    return history;
}
