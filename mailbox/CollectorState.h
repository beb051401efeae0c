#pragma once

#include "mailbox/AccountHistory.h"
#include "mailbox/MailKey.h"

#include <QHash>
#include <QSet>

/// A mail at which sessions broke.
struct BrokenMail {
    int breaks = 0;                          ///< in a row; none: it is stored
    std::chrono::milliseconds restsUntil{0}; ///< on the steady clock

    bool operator==(const BrokenMail &) const = default;
};

/// What the collections of this run have learnt, and the settings of the last Start. Each collector gets it at its
/// start.
struct CollectorState {
    QSet<MailKey> passedOverMails = {};
    QSet<qint64> passedOverAccounts = {};
    QHash<qint64, AccountHistory> histories = {}; ///< by account
    QHash<MailKey, BrokenMail> brokenMails = {};
    QSet<MailKey> plainMails = {}; ///< to be read by the plain reader
    bool isOneAtATime = false;     ///< log in to an account in its turn only
    QString connectString = {};    ///< where the settings cannot be read
    bool areServersSeveral = false;
    bool verifiesMailServers = false;
    bool attachesHiddenText = false;

    void note(const MailKey &mail, const BrokenMail &broken)
    {
        brokenMails.insert(mail, broken);
        if (broken.breaks == 0)
            brokenMails.remove(mail);
    }
    bool operator==(const CollectorState &) const = default;
};
