#pragma once

#include "alerts/MailHistory.h"
#include "alerts/RecipientIndex.h"
#include "foundation/FaultLog.h"

#include <vector>

class SubscriptionReading;
class Watermarks;

/// What a pass of the new-mail alerts has to do, read from the tables once for all users: who receives which
/// service, and which mails are new to whom. Mail bodies are not read.
class NewMail
{
public:
    struct Mail {
        qint64 number; ///< VOID
        QString from;  ///< EmailFrom
        QString subject;
    };
    /// One user name and one kind of mail.
    struct Service {
        bool isReceived = false;
        bool isWhole = true; ///< newMails are all that is new; false: the pass had to leave mails unread
        std::optional<qint64> storedWatermark; ///< nothing: the row is missing or holds null
        qint64 watermark = 0;
        bool isChosen = false;         ///< its older mails are read as well
        std::vector<quint32> newMails; ///< places for mail(), ascending in number
    };
    struct Recipient {
        QString userName;
        std::array<Service, mailKinds.size()> services;
        [[nodiscard]] Service &service(MailKind kind) { return services[static_cast<size_t>(kind)]; }
    };
    /// One active account with a mobile number; several may share a user name.
    struct Account {
        int recipient; ///< place in recipients
        QString mobile;
    };

    /// Reads accounts, subscriptions, watermarks and what history leaves to be read of the mails. A user
    /// whose data cannot be read is told to the operator and left out. stopRequested ends the reading early.
    /// Throws DatabaseFault.
    NewMail(Connection &connection, FaultLog &faults, MailHistory &history,
            const std::function<bool()> &stopRequested);

    [[nodiscard]] const Mail &mail(quint32 place) const { return m_mails[place]; }

    std::vector<Account> accounts; ///< in the order the database returns them
    std::vector<Recipient> recipients;

    /// What the operator's log calls the alerts of one user and kind.
    [[nodiscard]] static QString taskOf(const QString &userName, MailKind kind);

private:
    void readAccounts(Connection &connection, FaultLog &faults);
    static Service readService(const QString &userName, MailKind kind,
                               const SubscriptionReading &subscriptions, const Watermarks &watermarks);
    void readMails(Connection &connection, MailHistory &history, const std::function<bool()> &stopRequested);
    [[nodiscard]] std::optional<qint64> chooseUnread(const MailHistory &history, qint64 readAfter);
    void noteMail(const Statement &row);
    void leaveBehind(qint64 readUpTo);

    RecipientIndex m_index;
    std::vector<Mail> m_mails;       // those that are new to somebody
    size_t m_newMailCount = 0;       // over all recipients
    std::vector<Service *> m_chosen; // services whose older mails are read as well
    bool m_isForChosen = false;      // what is read now is noted for these alone
};
