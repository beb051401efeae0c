#pragma once

#include "pop3/Pop3Account.h"
#include "pop3/Pop3ConnectResult.h"
#include "pop3/Pop3Dialogue.h"
#include "pop3/Pop3LoginWays.h"

/// Connects to a POP3 server, secures the line, and logs in. curl does all three; only USER and PASS as the
/// last resort are spoken here, since curl 7.88 sends them only to servers
/// that list USER among their capabilities.
class Pop3Connector
{
public:
    /// All four must outlive the connector.
    Pop3Connector(const Pop3Account &account, const Pop3LoginWays &ways, const Pop3Options &options,
                  Pop3Observer &observer);

    /// One login, since refused ones in a row lock an address out: by the way that worked before, else the
    /// one that curl prefers, of those that were not refused before. Another way follows, on a line of its
    /// own, only when the server does not know the way at all. dialogue: set when connected.
    [[nodiscard]] Pop3ConnectResult connect(std::unique_ptr<Pop3Dialogue> &dialogue);

private:
    Pop3ConnectResult logIn(std::unique_ptr<Pop3Dialogue> &dialogue);
    [[nodiscard]] QString refusalText(const QByteArray &reply) const;
    /// loginOptions: curl's, or empty for its own choice; withLogin false leaves the line before the login.
    Pop3ConnectResult attempt(const QByteArray &loginOptions, bool withLogin, CurlHandle &handle);
    Pop3ConnectResult attemptUserPass(const QByteArrayList &tried, std::unique_ptr<Pop3Dialogue> &dialogue);
    CurlHandle prepare(const QByteArray &loginOptions, bool withLogin);
    Pop3ConnectResult explain(CURLcode code, bool connectedToHost) const;
    [[nodiscard]] QByteArrayList waysLeft(const QByteArrayList &tried) const;
    int onProgress();

    const Pop3Account &m_account;
    const Pop3LoginWays &m_ways;
    const Pop3Options &m_options;
    Pop3Observer &m_observer;
    CURL *m_attempt = nullptr; // the handle that curl_easy_perform runs on
    QElapsedTimer m_clock;
    std::array<QByteArray, 2> m_pendingLine; // lines that curl showed without their end so far, per direction
    bool m_connectTimedOut = false;
    bool m_stopped = false;

    static int progressed(void *self, curl_off_t, curl_off_t, curl_off_t, curl_off_t);
    static int observed(CURL *, curl_infotype type, char *data, size_t size, void *self);
};
