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
    Pop3Options pop3; ///< its waiter is there
    MailTrace trace;
    KeptMails &kept;
    /// After which an account's session ends in order; what it has left comes at the next pass.
    std::chrono::milliseconds accountBudget = std::chrono::minutes(2);
    /// See CollectedMail.
    bool attachHiddenText = false;

    /// Servers ("host:port") that greeted anybody.
    QSet<QString> answeringServers = {};
    /// Servers that greeted nobody: not tried again in the same pass.
    QSet<QString> silentServers = {};
    /// Unique ids of mails that lie on their servers still and are known to be stored whole, by account.
    QHash<qint64, QSet<QString>> wholeMails = {};
    QHash<QString, int> sessions = {}; ///< under way, by server
    qint64 largeOctets = 0;            ///< of large mails that are being read
    /// Why the database serves nobody any more: all downloads end.
    std::optional<DatabaseFault> databaseGone = {};

    bool isDropped = false; ///< nobody wants it to go on

    [[nodiscard]] bool isEnding() const { return isDropped || databaseGone || pop3.stopRequested(); }
    void noteFault(const DatabaseFault &fault)
    {
        if (!fault.concernsOneRow())
            databaseGone = fault;
        trace.note(fault.message());
    }
};
