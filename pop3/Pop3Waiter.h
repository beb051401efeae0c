#pragma once

#include "pop3/Fiber.h"

#include <QDeadlineTimer>

#include <chrono>
#include <curl/curl.h>
#include <functional>
#include <memory>
#include <vector>

struct CurlMultiRelease {
    void operator()(CURLM *multi) const noexcept { curl_multi_cleanup(multi); }
};

/// Gives a connection up, without QUIT.
struct CurlRelease {
    CURLM *multi = nullptr; ///< that the handle was opened in
    void operator()(CURL *handle) const noexcept
    {
        curl_multi_remove_handle(multi, handle);
        curl_easy_cleanup(handle);
    }
};
using CurlHandle = std::unique_ptr<CURL, CurlRelease>;

/// Where sessions wait for their servers. Those that share one can be under way together, in the order in which they
/// are ready: while one waits, the others have their turn. There is one thread.
class Pop3Waiter
{
public:
    /// A connection is open, or will not be. Called from within a wait; must not wait itself, nor throw.
    using Opened = std::function<void(CURLcode outcome)>;

    /// A handle of this waiter, to be prepared and given to open(). The waiter must outlive it.
    [[nodiscard]] CurlHandle makeHandle() const { return {curl_easy_init(), {m_multi.get()}}; }
    /// Begins to open the connection; opened, which must outlive the handle, is called unless that is released first.
    void open(CURL *handle, const Opened &opened);
    /// Until line, if there is one, is ready, something happened to a connection that is being opened, or most is
    /// over. Within a session that was begun here the others have their turn meanwhile, also when most is 0.
    void wait(curl_waitfd *line, std::chrono::milliseconds most);

    /// Begins a session that goes on beside others, until it waits for the first time. session: as Fiber's body.
    void begin(std::function<void()> session);
    /// The sessions that are ready have their turn; when none is, waits for one, or until the descriptor can be read,
    /// or until most is over. False when the descriptor is the reason.
    bool goOn(std::chrono::milliseconds most, int descriptor = -1);

private:
    struct Waiting {
        curl_waitfd *line = nullptr;
        QDeadlineTimer end;
        Fiber *session = nullptr;
    };
    /// True when a connection was opened, or will not be.
    bool poll(curl_waitfd *lines, size_t count, std::chrono::milliseconds most);

    std::unique_ptr<CURLM, CurlMultiRelease> m_multi{curl_multi_init()};
    std::vector<std::unique_ptr<Fiber>> m_sessions;
    std::vector<Waiting> m_waiting; // those of the sessions
};
