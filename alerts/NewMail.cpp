#include "alerts/NewMail.h"

#include "alerts/Watermarks.h"
#include "database/Recordset.h"
#include "outgoing/MessagePieces.h"
#include "subscription/Subscription.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

/// A reading ends early rather than fill the memory; the next pass, whose watermarks are higher, goes on
/// from there.
constexpr size_t maximumMails = 200'000;
constexpr size_t maximumNewMails = 5'000'000;

} // namespace

NewMail::NewMail(Connection &connection, FaultLog &faults, MailHistory &history,
                 const std::function<bool()> &stopRequested)
{
    readAccounts(connection, faults);
    readMails(connection, history, stopRequested);
}

QString NewMail::taskOf(const QString &userName, MailKind kind)
{
    return u"用户 "_s + userName + u" 的新邮件提醒（"_s + orderTypeOf(kind) + u"）"_s;
}

void NewMail::readAccounts(Connection &connection, FaultLog &faults)
{
    const SubscriptionReading subscriptions(
        connection, {orderTypeOf(MailKind::Internal), orderTypeOf(MailKind::External)});
    const Watermarks watermarks(connection);
    QHash<QString, int> known;
    Recordset users(connection);
    users.open(u"select UserName, Mobile from VO_UserInfor where AccountState='1'"_s);
    for (; !users.atEnd(); users.moveNext()) {
        const QString userName = users.text("UserName"_L1);
        const QString mobile = users.text("Mobile"_L1);
        // No mail can be addressed to a user without a name, nor a watermark kept for it.
        if (mobile.isEmpty() || userName.isNull())
            continue;
        auto place = known.constFind(userName);
        if (place == known.cend()) {
            place = known.insert(userName, static_cast<int>(recipients.size()));
            recipients.push_back({userName, {}});
            for (const MailKind kind : mailKinds) {
                try {
                    recipients.back().service(kind) = readService(userName, kind, subscriptions, watermarks);
                } catch (const DatabaseFault &fault) {
                    if (!fault.concernsOneRow())
                        throw;
                    faults.failed(taskOf(userName, kind), fault.message());
                } catch (const Fault &fault) {
                    faults.failed(taskOf(userName, kind), fault.message());
                }
            }
        }
        accounts.push_back({*place, mobile});
    }
}

NewMail::Service NewMail::readService(const QString &userName, MailKind kind,
                                      const SubscriptionReading &subscriptions, const Watermarks &watermarks)
{
    Service service;
    if (!subscriptions.isUserOrdered(orderTypeOf(kind), userName))
        return service;
    service.storedWatermark = watermarks.stored(userName, kind);
    service.watermark = service.storedWatermark.value_or(0);
    service.isReceived = true;
    return service;
}

void NewMail::readMails(Connection &connection, MailHistory &history,
                        const std::function<bool()> &stopRequested)
{
    std::optional<qint64> lowestWatermark;
    for (size_t i = 0; i < recipients.size(); ++i) {
        bool isIndexed = false;
        for (const Service &service : recipients[i].services) {
            if (!service.isReceived)
                continue;
            lowestWatermark = qMin(lowestWatermark.value_or(service.watermark), service.watermark);
            if (!std::exchange(isIndexed, true))
                m_index.add(recipients[i].userName, static_cast<int>(i));
        }
    }
    if (!lowestWatermark)
        return;
    // The end is fixed before anything is read: a mail that arrives meanwhile waits for the next pass.
    const auto highest = connection.firstValue(u"select max(VOID) from VO_Email"_s, {});
    if (!highest || highest->isNull())
        return;
    const auto visit = [this](const Statement &row) { noteMail(row); };
    const auto mayGoOn = [&] {
        return m_mails.size() < maximumMails && m_newMailCount < maximumNewMails && !stopRequested();
    };
    const auto read = history.read(connection, {*lowestWatermark, highest->toLongLong()}, visit, mayGoOn);
    const auto unreadAfter = chooseUnread(history, read.after);
    if (unreadAfter) {
        m_isForChosen = true;
        const qint64 end = history.readWhole(connection, {*unreadAfter, read.after}, visit, mayGoOn);
        if (end < read.after)
            leaveBehind(end);
    }
    // The newest were read first.
    for (Recipient &recipient : recipients) {
        for (Service &service : recipient.services)
            std::sort(service.newMails.begin(), service.newMails.end(), [this](quint32 one, quint32 other) {
                return m_mails[one].number < m_mails[other].number;
            });
    }
}

/// Chooses the services that are to be read whole, and forgets what of their older mails was met. Returns
/// their lowest watermark, when there are any.
std::optional<qint64> NewMail::chooseUnread(const MailHistory &history, qint64 readAfter)
{
    std::optional<qint64> lowestWatermark;
    for (Recipient &recipient : recipients) {
        for (const MailKind kind : mailKinds) {
            Service &service = recipient.service(kind);
            if (!service.isReceived || service.watermark >= readAfter ||
                (service.newMails.empty() && history.wasRead(recipient.userName, kind, service.watermark)))
                continue;
            if (history.mustWait(recipient.userName, kind)) {
                service.newMails.clear();
                service.isWhole = false;
                continue;
            }
            std::erase_if(service.newMails,
                          [&](quint32 place) { return m_mails[place].number <= readAfter; });
            service.isChosen = true;
            m_chosen.push_back(&service);
            lowestWatermark = qMin(lowestWatermark.value_or(service.watermark), service.watermark);
        }
    }
    return lowestWatermark;
}

/// Mails had to be left unread from there on: the chosen services' mails behind them wait with them.
void NewMail::leaveBehind(qint64 readUpTo)
{
    for (Service *service : m_chosen) {
        std::erase_if(service->newMails, [&](quint32 place) { return m_mails[place].number > readUpTo; });
        service->isWhole = false;
    }
}

void NewMail::noteMail(const Statement &row)
{
    if (row.value(1).isNull())
        return;
    const qint64 number = row.value(0).toLongLong();
    const auto kind = static_cast<MailKind>(row.value(1).toInt());
    const auto place = static_cast<quint32>(m_mails.size());
    bool isNew = false;
    m_index.find(row.value(2).toString(), [&](int recipient) {
        Service &service = recipients[static_cast<size_t>(recipient)].service(kind);
        const bool isKnown = !service.newMails.empty() && service.newMails.back() == place;
        if (!service.isReceived || number <= service.watermark || isKnown ||
            (m_isForChosen && !service.isChosen))
            return;
        service.newMails.push_back(place);
        ++m_newMailCount;
        isNew = true;
    });
    if (!isNew)
        return;
    // An internal sender is a name to be looked up: whole. An external one is shown.
    const QString from = row.value(3).toString();
    m_mails.push_back({number, kind == MailKind::Internal ? from : from.left(maximumPieceLength),
                       row.value(4).toString().left(maximumPieceLength)});
}
