#pragma once

#include "database/Connection.h"
#include "mailbox/CollectionWatch.h"
#include "mailbox/KeptMails.h"
#include "mailbox/MailTrace.h"
#include "pop3/Pop3Waiter.h"

#include <QSet>

/// What the downloads of one collection pass share.
struct CollectionPass {
    Connection &connection;
    CollectionWatch &watch;
    Pop3Options pop3;
    MailTrace trace;
    KeptMails &kept;
    /// After which an account's session ends in order; what it has left comes at the next pass.
    std::chrono::milliseconds accountBudget = std::chrono::minutes(2);

    /// Servers ("host:port") that let somebody in.
    QSet<QString> answeringServers = {};
    /// Servers that could not be reached, or fell silent at whatever point: not tried again in the same pass.
    QSet<QString> silentServers = {};
    /// Why the database serves nobody any more: the download that found it ended there.
    std::optional<DatabaseFault> databaseGone = {};
    /// See CollectedMail.
    bool attachHiddenText = false;
};
