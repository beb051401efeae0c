#pragma once

#include "pop3/Pop3Account.h"
#include "pop3/Pop3ConnectResult.h"
#include "pop3/Pop3Dialogue.h"

/// Connects to a POP3 server, secures the line, and logs in. curl does all three; only USER and PASS as the
/// last resort are spoken here, since curl 7.88 sends them only to servers that list USER among their
/// capabilities.
class Pop3Connector
{
public:
    /// All three must outlive the connector.
    Pop3Connector(const Pop3Account &account, const Pop3Options &options, Pop3Observer &observer);

    /// The way that curl prefers first; when it is refused the others that the server offers, each on a line
    /// of its own because a refused login may end it; USER and PASS last. dialogue: set when connected.
    [[nodiscard]] Pop3ConnectResult connect(std::unique_ptr<Pop3Dialogue> &dialogue);

private:
    /// loginOptions: curl's, or empty for its own choice; withLogin false leaves the line before the login.
    Pop3ConnectResult attempt(const QByteArray &loginOptions, bool withLogin, CurlHandle &handle);
    Pop3ConnectResult attemptUserPass(std::unique_ptr<Pop3Dialogue> &dialogue);
    CurlHandle prepare(const QByteArray &loginOptions, bool withLogin);
    Pop3ConnectResult explain(CURLcode code, bool connectedToHost) const;
    [[nodiscard]] QByteArrayList waysLeft(const QByteArrayList &tried) const;
    int onProgress();

    const Pop3Account &m_account;
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
