#pragma once

#include "pop3/Pop3Account.h"
#include "pop3/Pop3ConnectResult.h"
#include "pop3/Pop3Dialogue.h"
#include "pop3/Pop3LoginWays.h"

#include <array>

/// Connects to a POP3 server, secures the line, and logs in. curl does all three; only USER and PASS as the
/// last resort are spoken here, since curl 7.88 sends them only to servers that list USER among their
/// capabilities.
///
/// One login, since refused ones in a row lock an address out: by the way that worked before, else the one that
/// curl prefers, of those that were not refused before. Another way follows, on a line of its own, only when the
/// server does not know the way at all.
class Pop3Connector final : private Pop3Waiter::Opener
{
public:
    using Answered = std::function<void(const Pop3ConnectResult &result)>;

    /// The references must outlive the connector.
    Pop3Connector(Pop3Account account, Pop3LoginWays ways, const Pop3Options &options, Pop3Observer &observer,
                  Pop3Waiter &waiter);

    /// Begins to connect. Whenever anybody waits in the waiter, the first way goes on. answered: called once,
    /// at the end or before.
    void begin(Answered answered);
    /// Goes through with it. dialogue() is there when connected.
    [[nodiscard]] Pop3ConnectResult finish();
    [[nodiscard]] std::unique_ptr<Pop3Dialogue> &dialogue() { return m_dialogue; }

private:
    /// A line of its own.
    struct Attempt {
        QByteArray loginOptions; ///< curl's, or empty for its own choice
        bool withLogin = true;   ///< false leaves the line before the login
        bool isBare = false;     ///< curl connects only, for it does not know this server's POP3
    };
    void start(const Attempt &attempt);
    void opened(CURLcode outcome) override;
    [[nodiscard]] std::optional<Attempt> attemptAfter(const Attempt &attempt);
    void logInByUserPass();
    [[nodiscard]] bool isInLowerCase() const;
    void settle();

    [[nodiscard]] QString refusalText(const QByteArray &reply) const;
    [[nodiscard]] CurlHandle prepare(const Attempt &attempt);
    [[nodiscard]] Pop3ConnectResult explain(CURLcode code, bool connectedToHost) const;
    [[nodiscard]] QByteArrayList waysLeft() const;
    int onProgress();

    const Pop3Account m_account;
    const Pop3LoginWays m_ways;
    const Pop3Options &m_options;
    Pop3Observer &m_observer;
    Pop3Waiter &m_waiter;
    Answered m_answered;

    std::optional<Attempt> m_attempt; // under way
    std::optional<Attempt> m_next;
    QByteArrayList m_tried;
    Pop3ConnectResult m_result;
    std::unique_ptr<Pop3Dialogue> m_dialogue;

    CurlHandle m_handle; // of the attempt
    bool m_isBare = false;
    QElapsedTimer m_clock;
    std::array<QByteArray, 2> m_pendingLine; // lines that curl showed without their end so far, per direction
    bool m_connectTimedOut = false;
    bool m_stopped = false;

    static int progressed(void *self, curl_off_t, curl_off_t, curl_off_t, curl_off_t);
    static int observed(CURL *, curl_infotype type, char *data, size_t size, void *self);
};
