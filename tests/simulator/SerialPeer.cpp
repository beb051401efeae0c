#include "tests/simulator/SerialPeer.h"

#include <QDeadlineTimer>
#include <QFile>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <unistd.h>

namespace
{
constexpr int limitMilliseconds = 20'000;

/// False at a hang-up.
bool appendSome(int descriptor, QByteArray &received, qsizetype limit, const QDeadlineTimer &deadline)
{
    pollfd wait{descriptor, POLLIN, 0};
    if (::poll(&wait, 1, static_cast<int>(deadline.remainingTime())) <= 0)
        return true;
    std::array<char, 4096> buffer{};
    const ssize_t got =
        ::read(descriptor, buffer.data(), static_cast<size_t>(qMin<qsizetype>(limit, buffer.size())));
    if (got <= 0)
        return false;
    received += QByteArray(buffer.data(), got);
    return true;
}
} // namespace

SerialPeer::SerialPeer(const QString &device)
    : m_descriptor(::open(QFile::encodeName(device).constData(), O_RDWR | O_NOCTTY | O_CLOEXEC))
{
    if (m_descriptor < 0)
        throw std::runtime_error("cannot open " + device.toStdString());
}

SerialPeer::~SerialPeer()
{
    ::close(m_descriptor);
}

void SerialPeer::write(const QByteArray &octets) const
{
    qsizetype done = 0;
    while (done < octets.size()) {
        const ssize_t written =
            ::write(m_descriptor, octets.constData() + done, static_cast<size_t>(octets.size() - done));
        if (written <= 0)
            return; // hung up; the reads tell
        done += written;
    }
}

QByteArray SerialPeer::read(qsizetype count) const
{
    QByteArray received;
    const QDeadlineTimer deadline(limitMilliseconds);
    while (received.size() < count && !deadline.hasExpired() &&
           appendSome(m_descriptor, received, count - received.size(), deadline)) {
    }
    return received;
}

QByteArray SerialPeer::readToHangUp() const
{
    QByteArray received;
    const QDeadlineTimer deadline(limitMilliseconds);
    while (!deadline.hasExpired()) {
        if (!appendSome(m_descriptor, received, 4096, deadline))
            return received;
    }
    return received + "(still there)";
}
