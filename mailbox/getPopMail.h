#pragma once

#include "database/Connection.h"
#include "mailbox/CollectionWatch.h"
#include "mailbox/KeptMails.h"
#include "mailbox/MailTrace.h"

#include <QSet>

/// What the downloads of one collection pass share.
struct MailCollection {
    Connection &connection;
    CollectionWatch &watch;
    Pop3Options pop3;
    MailTrace trace;
    KeptMails &kept;
    /// After which an account's session ends in order; what it has left comes at the next pass.
    std::chrono::milliseconds accountBudget = std::chrono::minutes(2);

    /// Servers ("host:port") that could not be reached, or fell silent at whatever point: not tried again in the
    /// same pass.
    QSet<QString> silentServers = {};
    /// Why the database serves nobody any more: the download that found it ended there.
    std::optional<DatabaseFault> databaseGone = {};
    /// See CollectedMail.
    bool attachHiddenText = false;

    [[nodiscard]] bool stopRequested() const { return pop3.stopRequested && pop3.stopRequested(); }
};

/// Copies the external mail of a user, account by account and message by message, into VO_Email and
/// VO_EmailAttachments, each message once. Then, unless the account keeps its copies, deletes from the server
/// what is stored. Never throws and reports nothing but to the trace: what fails is passed over and comes
/// again in the next pass. Ends early between two messages when a stop is requested.
void getPopMail(const QString &strUserName, MailCollection &collection) noexcept;
