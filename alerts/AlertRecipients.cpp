#include "alerts/AlertRecipients.h"

#include "alerts/Watermarks.h"
#include "database/Recordset.h"
#include "subscription/Subscription.h"

using namespace Qt::StringLiterals;

QList<MobileAccount> mobileAccounts(Connection &connection)
{
    Recordset users(connection);
    users.open(u"select UserName, Mobile from VO_UserInfor where AccountState='1'"_s);
    QList<MobileAccount> accounts;
    for (; !users.atEnd(); users.moveNext()) {
        const MobileAccount account{users.text("UserName"_L1), users.text("Mobile"_L1)};
        // No mail can be addressed to a user without a name, nor a watermark kept for it.
        if (!account.mobile.isEmpty() && !account.userName.isNull())
            accounts += account;
    }
    return accounts;
}

AlertRecipients::AlertRecipients(Connection &connection, FaultLog &faults)
{
    const SubscriptionReading subscriptions(
        connection, {orderTypeOf(MailKind::Internal), orderTypeOf(MailKind::External)});
    const Watermarks watermarks(connection);
    QHash<QString, size_t> known;
    for (const MobileAccount &account : mobileAccounts(connection)) {
        if (!known.contains(account.userName)) {
            known.insert(account.userName, recipients.size());
            addRecipient(account.userName, subscriptions, watermarks, faults);
        }
        accounts.push_back({known[account.userName], account.mobile});
    }
}

QString AlertRecipients::taskOf(const QString &userName, MailKind kind)
{
    return u"用户 "_s + userName + u" 的新邮件提醒（"_s + orderTypeOf(kind) + u"）"_s;
}

void AlertRecipients::addRecipient(const QString &userName, const SubscriptionReading &subscriptions,
                                   const Watermarks &watermarks, FaultLog &faults)
{
    Recipient &recipient = recipients.emplace_back(Recipient{userName, {}});
    for (const MailKind kind : mailKinds) {
        try {
            if (!subscriptions.isUserOrdered(orderTypeOf(kind), userName))
                continue;
            Service &service = recipient.service(kind);
            service.storedWatermark = watermarks.stored(userName, kind);
            service.watermark = service.storedWatermark.value_or(0);
            service.isReceived = true;
        } catch (const Fault &fault) {
            const auto *refusal = dynamic_cast<const DatabaseFault *>(&fault);
            if (refusal && !refusal->setsRowAside())
                throw;
            faults.failed(taskOf(userName, kind), fault.message());
        }
    }
}
