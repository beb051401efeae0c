#pragma once

#include "pop3/Pop3Account.h"
#include "pop3/Pop3ConnectResult.h"
#include "pop3/Pop3Observer.h"
#include "pop3/Pop3Waiter.h"

#include <QElapsedTimer>

#include <array>

/// One line to a POP3 server: connected, secured, and logged in to by one way, all by curl.
class Pop3Attempt
{
public:
    struct Way {
        QByteArray loginOptions; ///< curl's, or empty for its own choice
        bool withLogin = true;   ///< false leaves the line before the login
    };
    using Ended = std::function<void(const Pop3ConnectResult &result)>;

    /// Begins; it goes on whenever anybody waits in the waiter. ended: called once, in the course of such a wait; must
    /// not destroy the attempt. The references must outlive it.
    Pop3Attempt(const Pop3Account &account, Way way, const Pop3Options &options, Pop3Observer &observer,
                Pop3Waiter &waiter, Ended ended);
    Pop3Attempt(const Pop3Attempt &) = delete;
    Pop3Attempt &operator=(const Pop3Attempt &) = delete;

    [[nodiscard]] const Way &way() const { return m_way; }
    [[nodiscard]] bool isUnderWay() const { return m_isUnderWay; }
    /// The line is there once it has ended well, and until it is taken.
    [[nodiscard]] bool hasLine() const { return !m_isUnderWay && m_handle; }
    [[nodiscard]] CurlHandle takeLine() { return std::move(m_handle); }

private:
    void prepareLine();
    void prepareSecurity();
    void prepareLogin();
    void opened(CURLcode outcome);
    [[nodiscard]] Pop3ConnectResult explain(CURLcode code, bool connectedToHost) const;
    int onProgress();
    static int progressed(void *self, curl_off_t, curl_off_t, curl_off_t, curl_off_t);
    static int observed(CURL *, curl_infotype type, char *data, size_t size, void *self);

    const Pop3Account &m_account;
    const Way m_way;
    const Pop3Options &m_options;
    Pop3Observer &m_observer;
    const Ended m_ended;
    const Pop3Waiter::Opened m_opened;

    bool m_isUnderWay = true;
    bool m_connectTimedOut = false;
    bool m_stopped = false;
    QElapsedTimer m_clock;
    std::array<QByteArray, 2> m_pendingLine; // lines that curl showed without their end so far, per direction
    CurlHandle m_handle;                     // last: it calls the others
};
