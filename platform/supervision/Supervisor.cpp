#include "platform/supervision/Supervisor.h"

#include <cstddef>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

Supervisor::Supervisor() : m_socket(qgetenv("NOTIFY_SOCKET"))
{
    const bool isForUs = qEnvironmentVariableIsEmpty("WATCHDOG_PID") ||
                         qEnvironmentVariableIntValue("WATCHDOG_PID") == ::getpid();
    constexpr int signsPerLimit = 4;
    constexpr int microsecondsPerMs = 1000;
    if (isForUs)
        m_pauseMs = qEnvironmentVariable("WATCHDOG_USEC").toLongLong() / microsecondsPerMs / signsPerLimit;
    for (const char *variable : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"})
        qunsetenv(variable);
}

void Supervisor::ready()
{
    tell("READY=1");
}

void Supervisor::status(const QString &text)
{
    if (text == m_status)
        return;
    m_status = text;
    tell("STATUS=" + text.toUtf8().replace('\n', ' '));
}

void Supervisor::alive()
{
    if (m_pauseMs == 0 || (m_sinceSign.isValid() && m_sinceSign.elapsed() < m_pauseMs))
        return;
    m_sinceSign.start();
    tell("WATCHDOG=1");
}

void Supervisor::stopping()
{
    tell("STOPPING=1");
}

void Supervisor::tell(const QByteArray &assignment) const
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (m_socket.isEmpty() || size_t(m_socket.size()) >= sizeof address.sun_path)
        return;
    std::memcpy(address.sun_path, m_socket.constData(), size_t(m_socket.size()));
    if (address.sun_path[0] == '@') // an abstract socket
        address.sun_path[0] = '\0';
    const int descriptor = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0)
        return;
    // A manager that does not listen is its own trouble.
    static_cast<void>(::sendto(descriptor, assignment.constData(), size_t(assignment.size()),
                               MSG_NOSIGNAL | MSG_DONTWAIT, reinterpret_cast<const sockaddr *>(&address),
                               socklen_t(offsetof(sockaddr_un, sun_path) + size_t(m_socket.size()))));
    ::close(descriptor);
}
