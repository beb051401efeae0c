#pragma once

#include "mailbox/CollectionPass.h"
#include "mailbox/MailAccount.h"
#include "pop3/Pop3Client.h"

#include <QElapsedTimer>

class MailboxListing;

/// One account's turn in a pass: its new mails are stored, and what is stored is deleted from the server unless the
/// account keeps its copies.
class AccountDownload
{
public:
    /// pass must outlive it.
    AccountDownload(QString userName, MailAccount account, CollectionPass &pass);

    /// "host:port".
    [[nodiscard]] QString server() const;
    /// Equal for accounts with the same mailbox.
    [[nodiscard]] QString mailbox() const { return m_account.EUsername.toLower() + u'@' + server(); }

    /// Begins to log in before its turn. False when it may not log in now.
    bool logInAhead();
    [[nodiscard]] bool isBegun() const { return m_client.has_value(); }

    /// The turn. What fails is passed over, with a note. Throws DatabaseFault when the database serves nobody.
    void run();

private:
    enum class End {
        Done,      ///< well, or not to be tried again now
        OutOfStep, ///< answers and questions did not fit together
        GoneAhead, ///< the server had not waited for the turn
    };
    [[nodiscard]] End runSession();
    void goOneByOne();
    void download();
    [[nodiscard]] bool isAdmitted() const;
    [[nodiscard]] bool mayConnect() const;
    void begin();
    [[nodiscard]] bool connect();
    void noteAnswer(const Pop3ConnectResult &result);
    [[nodiscard]] bool isInVain(const Pop3ConnectResult &result) const;
    void noteIds(const MailboxListing &listing, const QByteArray &sizes);
    void storeNewMessages(MailboxListing &listing);
    [[nodiscard]] bool store(const MailKey &key, QByteArray octets);
    void deleteStored(const MailboxListing &listing);

    [[nodiscard]] AccountHistory history() const;
    void note(const QString &text) const;
    [[nodiscard]] QString shownName() const;
    [[nodiscard]] MailKey keyOf(int number);

    QString m_userName;
    MailAccount m_account;
    CollectionPass &m_pass;
    QElapsedTimer m_sinceBegin;
    std::optional<Pop3Client> m_client;
    bool m_isOneByOne = false; // nothing is asked before the answer before it is there
    bool m_isAhead = false;    // logged in before its turn
    bool m_isListed = false;   // the server has answered in the turn
};
