#pragma once

#include "mailbox/getPopMail.h"
#include "tests/support/Office.h"
#include "tests/support/ScriptedPop3Server.h"

/// An office whose users have external mailboxes, and what its collection passes left in the trace.
class MailOffice : public Office
{
public:
    /// A row of SA_email on this machine. IsBaoLiu 1 keeps the copies.
    void account(int key, const QString &user, int port, const QVariant &isBaoLiu = 1,
                 const QString &login = QStringLiteral("box"));
    /// A mailbox of user12's that behaves by script.
    ScriptedPop3Server &mailbox(const ScriptedPop3Server::Script &script, const QVariant &isBaoLiu = 0,
                                int key = 7);
    /// One pass for one user, as the driver makes it.
    void collect(const QString &user = QStringLiteral("user12"));

    /// Values of the collected mails in the order of VOID, columns joined by "|".
    [[nodiscard]] QStringList mails(const QString &columns)
    {
        return table(QStringLiteral("VO_Email"), columns);
    }
    /// In the order of VOID, parted by a blank.
    [[nodiscard]] QString subjects() { return mails(QStringLiteral("EmailSubject")).join(u' '); }
    [[nodiscard]] QStringList attachments();

    Pop3Options pop3;
    CollectionWatch watch; // from pass to pass
    KeptMails kept{path(QStringLiteral("kept"))};
    std::chrono::milliseconds accountBudget = std::chrono::minutes(2);
    QStringList notes;
    std::optional<DatabaseFault> databaseGone;

private:
    std::vector<std::unique_ptr<ScriptedPop3Server>> m_servers;
};
