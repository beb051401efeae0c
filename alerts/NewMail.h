#pragma once

#include "alerts/AlertRecipients.h"
#include "alerts/MailHistory.h"
#include "alerts/RecipientIndex.h"

/// Which mails are new to whom, read from the table once for all recipients of a pass. Mail bodies are not read.
class NewMail
{
public:
    struct Mail {
        qint64 number; ///< VOID
        QString from;  ///< EmailFrom
        QString subject;
    };

    /// Reads what history leaves to be read of the mails, and gives each service its new ones. recipients must outlive
    /// it. stopRequested ends the reading early. Throws DatabaseFault.
    NewMail(Connection &connection, AlertRecipients &recipients, MailHistory &history,
            const std::function<bool()> &stopRequested);

    [[nodiscard]] const Mail &mail(quint32 place) const { return m_mails[place]; }

private:
    using Service = AlertRecipients::Service;
    /// The lowest watermark of all that is received; nothing when nothing is.
    [[nodiscard]] std::optional<qint64> indexRecipients();
    [[nodiscard]] std::optional<qint64> chooseUnread(const MailHistory &history, qint64 readAfter);
    void noteMail(const Statement &row, bool Service::*isWanted);
    void leaveBehind(qint64 readUpTo);
    void sortNewMails();

    std::vector<AlertRecipients::Recipient> &m_recipients;
    RecipientIndex m_index;
    std::vector<Mail> m_mails; // those that are new to somebody
    size_t m_newMailCount = 0; // over all recipients
};
