#include "database/driver/DeadlineGuard.h"

#include <algorithm>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

namespace
{

void keepAlive(int socket)
{
    struct Option {
        int level;
        int name;
        int value; // seconds, but for the switch and the count
    };
    for (const Option &option : {Option{SOL_SOCKET, SO_KEEPALIVE, 1}, Option{IPPROTO_TCP, TCP_KEEPIDLE, 15},
                                 Option{IPPROTO_TCP, TCP_KEEPINTVL, 5}, Option{IPPROTO_TCP, TCP_KEEPCNT, 3}})
        ::setsockopt(socket, option.level, option.name, &option.value, sizeof option.value);
}

} // namespace

DeadlineGuard::~DeadlineGuard()
{
    {
        const std::lock_guard lock(m_mutex);
        m_ends = true;
    }
    m_changed.notify_one();
    if (m_thread.joinable())
        m_thread.join();
}

void DeadlineGuard::setSockets(std::vector<int> sockets)
{
    const std::lock_guard lock(m_mutex);
    m_sockets = std::move(sockets);
    std::ranges::for_each(m_sockets, keepAlive);
}

bool DeadlineGuard::hasFired() const
{
    const std::lock_guard lock(m_mutex);
    return m_struck;
}

bool DeadlineGuard::isClosed() const
{
    return std::any_of(m_sockets.cbegin(), m_sockets.cend(), [](int socket) {
        pollfd line{socket, POLLRDHUP, 0};
        return ::poll(&line, 1, 0) > 0;
    });
}

void DeadlineGuard::start(std::chrono::milliseconds limit)
{
    if (!m_thread.joinable())
        m_thread = std::thread([this] { run(); });
    const std::lock_guard lock(m_mutex);
    m_deadline = std::chrono::steady_clock::now() + limit;
    // A thread that wakes before the deadline finds it then: a system call a statement is saved.
    if (m_deadline < m_wakes)
        m_changed.notify_one();
}

void DeadlineGuard::stop()
{
    const std::lock_guard lock(m_mutex);
    m_deadline = Time::max();
}

void DeadlineGuard::run()
{
    std::unique_lock lock(m_mutex);
    while (!m_ends) {
        const Time deadline = m_deadline;
        if (deadline == Time::max()) {
            m_wakes = Time::max();
            m_changed.wait(lock);
        } else if (std::chrono::steady_clock::now() < deadline) {
            m_wakes = deadline;
            m_changed.wait_until(lock, deadline);
        } else {
            m_struck = true;
            m_deadline = Time::max();
            for (const int socket : m_sockets)
                ::shutdown(socket, SHUT_RDWR);
        }
    }
}
