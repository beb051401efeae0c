#include "pop3/Pop3Waiter.h"

#include <algorithm>
#include <utility>

using std::chrono::milliseconds;

void Pop3Waiter::open(CURL *handle, const Opened &opened)
{
    curl_easy_setopt(handle, CURLOPT_PRIVATE, &opened);
    curl_multi_add_handle(m_multi.get(), handle);
}

void Pop3Waiter::wait(curl_waitfd *line, milliseconds most)
{
    if (!Fiber::current()) {
        poll(line, line ? 1 : 0, most);
        return;
    }
    m_waiting.push_back({line, QDeadlineTimer(most), Fiber::current()});
    Fiber::pause();
}

bool Pop3Waiter::poll(curl_waitfd *lines, size_t count, milliseconds most)
{
    curl_multi_poll(m_multi.get(), lines, static_cast<unsigned>(count), static_cast<int>(most.count()),
                    nullptr);
    int running = 0;
    curl_multi_perform(m_multi.get(), &running);
    int left = 0;
    bool hasOpened = false;
    while (const CURLMsg *message = curl_multi_info_read(m_multi.get(), &left)) {
        if (message->msg != CURLMSG_DONE)
            continue;
        const CURLcode outcome = message->data.result;
        const Opened *opened = nullptr;
        curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &opened);
        (*opened)(outcome);
        hasOpened = true;
    }
    return hasOpened;
}

void Pop3Waiter::begin(std::function<void()> session)
{
    m_sessions.push_back(std::make_unique<Fiber>(std::move(session)));
    m_sessions.back()->resume();
}

bool Pop3Waiter::goOn(milliseconds most, int descriptor)
{
    std::vector<curl_waitfd> lines;
    for (const Waiting &waiting : m_waiting) {
        most = std::min(most, milliseconds(waiting.end.remainingTime()));
        if (waiting.line)
            lines.push_back(*waiting.line);
    }
    if (descriptor >= 0)
        lines.push_back({descriptor, CURL_WAIT_POLLIN, 0});
    const bool hasOpened = poll(lines.data(), lines.size(), most);
    auto line = lines.cbegin();
    for (const Waiting &waiting : std::exchange(m_waiting, {})) {
        const bool isReady = waiting.line ? (line++)->revents != 0 : hasOpened;
        if (isReady || waiting.end.hasExpired())
            waiting.session->resume();
        else
            m_waiting.push_back(waiting);
    }
    std::erase_if(m_sessions, [](const auto &session) { return session->hasEnded(); });
    return descriptor < 0 || lines.back().revents == 0;
}
