#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QList>
#include <QSet>
#include <atomic>
#include <chrono>
#include <limits>
#include <memory>
#include <mutex>
#include <thread>

class QTcpServer;
class QTcpSocket;

/// A POP3 server on a loopback port that behaves as badly as its script says. It serves one connection at a
/// time on a thread of its own; deletions take effect at QUIT.
class ScriptedPop3Server
{
public:
    struct Script {
        QByteArray greeting = "+OK ready";
        QByteArrayList capabilities = {"USER", "UIDL"};
        QByteArray sasl = {}; ///< mechanisms among the capabilities
        /// Ways of logging in ("PLAIN", "LOGIN", "CRAM-MD5", "APOP", "USER") that are refused.
        QSet<QByteArray> refusedWays = {};
        QByteArray refusal = "-ERR no";
        QByteArrayList messages = {}; ///< with CR LF line ends, dots not stuffed
        QSet<int> refusedMessages = {};
        QSet<int> fatalMessages = {}; ///< at which it hangs up
        QByteArrayList uids = {};     ///< one per message; "uid-N" where absent; "-" leaves the line out
        QByteArray statAnswer = {};   ///< in place of the true one
        /// A command verb after which nothing is answered any more; "GREETING" for silence from the start.
        QByteArray hangsAt = {};
        /// As hangsAt, but answers one octet at a time with this much time between them.
        QByteArray dripsAt = {};
        std::chrono::milliseconds drip{5};
        int listedTooMuch = 0; ///< octets that LIST adds to every size
        /// Octets sent over all connections after which the line is cut, once.
        qint64 cutAfterOctets = std::numeric_limits<qint64>::max();
        bool knowsCapa = true;
        bool pipelining = false;
        bool knowsUidl = true;
        bool onlyGreets = false;      ///< ends its side of the line with the greeting
        bool bareLineFeeds = false;   ///< ends lines with LF only
        bool dropsEarlyInput = false; ///< commands that come before the one before is answered
    };

    explicit ScriptedPop3Server(const Script &script);
    ~ScriptedPop3Server();
    ScriptedPop3Server(const ScriptedPop3Server &) = delete;
    ScriptedPop3Server &operator=(const ScriptedPop3Server &) = delete;

    [[nodiscard]] int port() const { return m_port; }
    /// From the next connection on.
    void become(const Script &script);

    // Of all connections so far:
    [[nodiscard]] int connections() const { return m_connections; }
    /// Every line up to a command that hangs.
    [[nodiscard]] QByteArrayList received() const { return copyOf(m_received); }
    /// Numbers whose deletion was committed by QUIT.
    [[nodiscard]] QList<int> deleted() const { return copyOf(m_deleted); }

private:
    template <typename Shared>
    [[nodiscard]] Shared copyOf(const Shared &shared) const
    {
        const std::lock_guard lock(m_mutex);
        return shared;
    }
    void run(QTcpServer &listener);
    void serve();
    [[nodiscard]] bool isOver() const;
    // False when the connection is over.
    bool readLine(QByteArray &line);
    bool answer(const QByteArray &line);
    bool authenticate(const QByteArrayList &words);
    bool login(const QByteArray &way);
    bool say(const QByteArray &line);
    bool sayContent(const QByteArray &content);
    bool send(QByteArray octets);

    std::atomic<bool> m_isEnding = false;
    int m_port = 0;
    std::atomic<int> m_connections = 0;
    qint64 m_sentOctets = 0;
    bool m_wasCut = false;
    mutable std::mutex m_mutex; // guards these three
    std::shared_ptr<const Script> m_next;
    QByteArrayList m_received;
    QList<int> m_deleted;

    // Of the connection that is served.
    std::shared_ptr<const Script> m_script;
    QTcpSocket *m_line = nullptr;
    bool m_isClosing = false;
    bool m_isHanging = false;
    bool m_isDripping = false;
    QList<int> m_marked;
    std::thread m_thread; // last: everything else must exist before it runs
};

/// Mails with the subjects "1", "2", ..., an HTML text that begins with a dot, and an attachment.
[[nodiscard]] QByteArrayList numberedMails(int count);
