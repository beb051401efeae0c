#pragma once

#include <chrono>
#include <curl/curl.h>
#include <functional>
#include <memory>

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

/// Where sessions wait for their servers. Those that share one wait together: while one waits for an answer, the
/// connections that others open make progress. Nothing happens outside wait(), and there is one thread.
class Pop3Waiter
{
public:
    /// A connection is open, or will not be. Called from within wait(); must not wait itself, nor throw.
    using Opened = std::function<void(CURLcode outcome)>;

    /// A handle of this waiter, to be prepared and given to open(). The waiter must outlive it.
    [[nodiscard]] CurlHandle makeHandle() const { return {curl_easy_init(), {m_multi.get()}}; }
    /// Begins to open the connection; opened, which must outlive the handle, is called unless that is released first.
    void open(CURL *handle, const Opened &opened);
    /// Until line, if there is one, is ready, something happened to a connection that is being opened, or most is
    /// over.
    void wait(curl_waitfd *line, std::chrono::milliseconds most);

private:
    std::unique_ptr<CURLM, CurlMultiRelease> m_multi{curl_multi_init()};
};
