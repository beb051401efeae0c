#pragma once

#include "pop3/Pop3ConnectResult.h"
#include "pop3/Pop3Fault.h"
#include "pop3/Pop3LoginWays.h"
#include "pop3/Pop3Options.h"

#include <QList>
#include <QQueue>
#include <functional>
#include <memory>
#include <optional>
#include <variant>

class Pop3Dialogue;
class Pop3Observer;
class Pop3Waiter;
struct Pop3Reply;

/// -ERR to a command that concerns one message. The session goes on.
struct Pop3Refusal {
    QString text; ///< the server's words
};

/// A POP3 session (RFC 1939) with one mailbox. The members that the mailbox download calls have its names.
///
/// What is foreseen is a value: a login refused, a message the server will not give, a missing unique id. A
/// line that breaks is a Pop3Fault; the session is over then, without QUIT, and its deletions do not take
/// effect. Deletions take effect at Disconnect only.
/// Destroying a connected client breaks the line without QUIT.
class Pop3Client
{
public:
    explicit Pop3Client(Pop3Options options = {});
    ~Pop3Client();
    Pop3Client(const Pop3Client &) = delete;
    Pop3Client &operator=(const Pop3Client &) = delete;

    /// Opens the mailbox: connection, TLS as Pop3Options::tls says, login. A session that was open is dropped
    /// without QUIT first. One login is tried; ways: what earlier sessions learnt about it. Never throws on
    /// what the network or the values do.
    [[nodiscard]] Pop3ConnectResult Connect(const QString &login, const QString &password,
                                            const QString &server, int port, const Pop3LoginWays &ways = {});
    [[nodiscard]] bool isConnected() const;
    /// In this session a command was sent before the answer to another was read.
    [[nodiscard]] bool hasAskedAhead() const { return m_hasAskedAhead; }

    /// Number of messages, numbered from 1: the highest number that UIDL lists, or what STAT says where a server does not
    /// know UIDL; at most Pop3Limits::messages. The first call asks the server.
    [[nodiscard]] int Count();

    /// Unique id of message number, from one UIDL for the whole mailbox, in the form that parseUidl gives it;
    /// nullopt when the server gave none (also when it knows no UIDL, or number is not between 1 and Count). Two
    /// messages may carry the same id.
    [[nodiscard]] std::optional<QString> GetMessageUID(int number);
    /// Does the server tell unique ids at all? The first call asks it.
    [[nodiscard]] bool tellsUniqueIds();
    /// The sizes in octets as LIST tells them, by number - 1; -1 or missing where it does not.
    [[nodiscard]] const QList<qint64> &sizes();

    /// The octets of a message as they came (dots unstuffed), or why the server did not give it.
    using Retrieved = std::variant<QByteArray, Pop3Refusal>;
    using MessageHandler = std::function<void(int number, Retrieved message)>;
    /// Retrieves messages in the order of numbers and hands over each before it reads the next. Where the
    /// server offers PIPELINING the requests run ahead within the window of Pop3Limits; only one message is
    /// in memory at a time all the same. Ends early, without a fault, when a stop is requested between two
    /// messages.
    void retrieve(const QList<int> &numbers, const MessageHandler &handler);

    /// Marks messages for deletion. Result: the numbers that the server refused to mark.
    QList<int> DeleteMessages(const QList<int> &numbers);

    /// Ends the session with QUIT; deletions take effect now. False when the server did not confirm, or there
    /// was no session. Never throws.
    bool Disconnect() noexcept;

private:
    /// A command whose answer was not read yet.
    struct Unread {
        qint64 octets = 0; // expected
        bool content = false;
    };

    Pop3Dialogue &dialogue();
    void loadListing();
    void request(const QByteArray &command, qint64 expectedOctets, bool content);
    Pop3Reply nextReply();
    [[nodiscard]] bool windowAdmits(qint64 expectedOctets) const;
    void skipUnread();
    [[nodiscard]] qint64 expectedOctets(int number) const;
    Retrieved readMessage(int number);

    Pop3Options m_options;
    std::shared_ptr<Pop3Waiter> m_waiter;
    std::unique_ptr<Pop3Observer> m_observer;
    std::unique_ptr<Pop3Dialogue> m_dialogue; // refers to it
    QQueue<Unread> m_unread;
    qint64 m_unreadOctets = 0;
    bool m_hasAskedAhead = false;
    std::optional<int> m_count;
    bool m_tellsUniqueIds = false;
    QList<QString> m_uids;
    std::optional<QList<qint64>> m_sizes;
};
