#pragma once

#include "alerts/MailKind.h"
#include "database/Connection.h"
#include "foundation/FaultLog.h"

#include <vector>

class SubscriptionReading;
class Watermarks;

/// An active account with a mobile number. Several may share a user name.
struct MobileAccount {
    QString userName;
    QString mobile;
};
/// In the order the database returns them. Throws DatabaseFault.
[[nodiscard]] QList<MobileAccount> mobileAccounts(Connection &connection);

/// Who is to be alerted, read from the tables once for a pass: the active accounts with a mobile number, and which
/// services their users receive, from which mail on.
class AlertRecipients
{
public:
    /// One user name and one kind of mail.
    struct Service {
        bool isReceived = false;
        bool isWhole = true; ///< newMails are all that is new; false: the pass had to leave mails unread
        std::optional<qint64> storedWatermark; ///< nothing: the row is missing or holds null
        qint64 watermark = 0;
        bool isChosen = false;         ///< its older mails are read as well
        std::vector<quint32> newMails; ///< places among those of NewMail, ascending in number
    };
    struct Recipient {
        QString userName;
        std::array<Service, mailKinds.size()> services;
        [[nodiscard]] Service &service(MailKind kind) { return services[static_cast<size_t>(kind)]; }
    };
    struct Account {
        size_t recipient; ///< place in recipients
        QString mobile;
    };

    /// A user whose data cannot be read is told to the operator and left out. Throws DatabaseFault.
    AlertRecipients(Connection &connection, FaultLog &faults);

    std::vector<Account> accounts;
    std::vector<Recipient> recipients;

    /// What the operator's log calls the alerts of one user and kind.
    [[nodiscard]] static QString taskOf(const QString &userName, MailKind kind);

private:
    void addRecipient(const QString &userName, const SubscriptionReading &subscriptions,
                      const Watermarks &watermarks, FaultLog &faults);
};
