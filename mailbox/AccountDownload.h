#pragma once

#include "mailbox/CollectionPass.h"
#include "mailbox/MailAccount.h"
#include "pop3/Pop3Client.h"

#include <QElapsedTimer>

class MailboxListing;

/// One account's turn: its new mails are stored, and what is stored is deleted from the server unless the account keeps
/// its copies. A mail at which a session broke is left for the end, behind a QUIT, so that the deletions of the others
/// hold; when it breaks one there too it rests for an hour.
class AccountDownload
{
public:
    /// pass must outlive it.
    AccountDownload(QString userName, MailAccount account, CollectionPass &pass);

    /// "host:port".
    [[nodiscard]] QString server() const;
    /// Equal for accounts with the same mailbox.
    [[nodiscard]] QString mailbox() const { return m_account.EUsername.toLower() + u'@' + server(); }
    [[nodiscard]] bool isSameAccount(const AccountDownload &other) const
    {
        return m_account.OAID && m_account.OAID == other.m_account.OAID;
    }
    /// Its server fell silent in the last session.
    [[nodiscard]] bool hungBefore() const;

    /// The turn. What fails is passed over, with a note. Never throws.
    void run();
    [[nodiscard]] std::chrono::milliseconds sinceBegin() const
    {
        return std::chrono::milliseconds(m_sinceBegin.elapsed());
    }
    /// Since the turn began, or last had something to show for it.
    [[nodiscard]] std::chrono::milliseconds sinceProgress() const
    {
        return std::chrono::milliseconds(m_sinceProgress.elapsed());
    }
    [[nodiscard]] bool isOver() const { return m_isOver; }
    /// The server had no room for it beside others: it is to have another turn, without them.
    [[nodiscard]] bool wantsServerAlone() const { return m_wantsServerAlone; }

private:
    enum class End {
        Done,  ///< well, or not to be tried again now
        Again, ///< another session has more to do
    };
    [[nodiscard]] End runSession();
    [[nodiscard]] End afterFault(const Pop3Fault &fault);
    void goOneByOne();
    [[nodiscard]] End download();
    [[nodiscard]] bool isAdmitted();
    [[nodiscard]] bool connect();
    [[nodiscard]] bool isInVain(const Pop3ConnectResult &result) const;
    void noteAnswer(const Pop3ConnectResult &result);
    void noteListing(const MailboxListing &listing);
    void noteIds(const MailboxListing &listing, const QByteArray &sizes);

    struct Plan {
        QList<int> together;  // to be retrieved first
        QList<int> oneByOne;  // after those
        bool hasMore = false; // behind a QUIT
    };
    [[nodiscard]] Plan planned(const MailboxListing &listing);
    void storeNewMessages(MailboxListing &listing, const Plan &plan);
    void retrieve(MailboxListing &listing, const QList<int> &numbers);
    void takeMessage(MailboxListing &listing, int number, Pop3Client::Retrieved message);
    enum class Taken {
        Not,      ///< with a note: it cannot be stored, or is and cannot be compared, but others may be
        Compared, ///< stored before
        Stored,
    };
    [[nodiscard]] Taken store(const MailKey &key, bool isStored, QByteArray octets);
    void noteBreak(const MailKey &key);
    [[nodiscard]] QList<int> deletable(const MailboxListing &listing);
    [[nodiscard]] bool isInDoubt(int number);
    void deleteStored(const MailboxListing &listing);

    [[nodiscard]] AccountHistory history() const;
    void learn(const AccountHistory &known)
    {
        if (known != history())
            m_pass.watch.learn(*m_account.OAID, shownName(), known);
    }
    void note(const QString &text);
    [[nodiscard]] QString shownName() const;
    [[nodiscard]] MailKey keyOf(int number)
    {
        return {*m_account.OAID, m_client->GetMessageUID(number).value()};
    }

    QString m_userName;
    MailAccount m_account;
    CollectionPass &m_pass;
    QElapsedTimer m_sinceBegin;
    QElapsedTimer m_sinceProgress;
    std::optional<Pop3Client> m_client;
    std::optional<MailKey> m_reading; // the mail that comes in
    QString m_cause;                  // why the mailbox was not emptied: the session's first
    bool m_isEmptied = false;         // but for what m_cause tells
    bool m_areIdsNumbers = false;     // the messages' own, which others may have after a deletion
    bool m_isOneByOne = false;        // nothing is asked before the answer before it is there
    bool m_isAtEnd = false;           // the others are stored and deleted
    bool m_isOver = false;
    bool m_wantsServerAlone = false;
};
