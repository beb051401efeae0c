#include "pop3/Pop3Waiter.h"

void Pop3Waiter::open(CURL *handle, const Opened &opened)
{
    curl_easy_setopt(handle, CURLOPT_PRIVATE, &opened);
    curl_multi_add_handle(m_multi.get(), handle);
}

void Pop3Waiter::wait(curl_waitfd *line, std::chrono::milliseconds most)
{
    curl_multi_poll(m_multi.get(), line, line ? 1 : 0, static_cast<int>(most.count()), nullptr);
    int running = 0;
    curl_multi_perform(m_multi.get(), &running);
    int left = 0;
    while (const CURLMsg *message = curl_multi_info_read(m_multi.get(), &left)) {
        if (message->msg != CURLMSG_DONE)
            continue;
        const CURLcode outcome = message->data.result;
        const Opened *opened = nullptr;
        curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &opened);
        (*opened)(outcome);
    }
}
