#pragma once

#include "database/Connection.h"
#include "mailbox/CollectionWatch.h"
#include "mailbox/MailTrace.h"

#include <QSet>

/// What the downloads of one collection pass share.
struct MailCollection {
    Connection &connection;
    CollectionWatch &watch;
    Pop3Options pop3;
    MailTrace trace;

    /// Servers ("host:port") that could not be reached or did not greet: not tried again in the same pass.
    /// One that falls silent later costs each of its accounts the limit, for it may be that account's fault.
    QSet<QString> silentServers;
    /// Why the database serves nobody any more: the download that found it ended there.
    std::optional<DatabaseFault> databaseGone;
    /// See CollectedMail.
    bool attachHiddenText = false;

    [[nodiscard]] bool stopRequested() const { return pop3.stopRequested && pop3.stopRequested(); }
};

/// Copies the external mail of a user, account by account and message by message, into VO_Email and
/// VO_EmailAttachments, each message once. Then, unless the account keeps its copies, deletes from the server
/// what is stored. Never throws and reports nothing but to the trace: what fails is passed over and comes
/// again in the next pass. Ends early between two messages when a stop is requested.
void getPopMail(const QString &strUserName, MailCollection &collection) noexcept;
