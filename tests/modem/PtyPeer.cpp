#include "tests/modem/PtyPeer.h"

#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

PtyPeer::PtyPeer()
{
    m_master = posix_openpt(O_RDWR | O_NOCTTY);
    if (m_master < 0 || grantpt(m_master) != 0 || unlockpt(m_master) != 0 || pipe(m_wake.data()) != 0)
        qFatal("no pseudo-terminal");
    m_device = QString::fromLocal8Bit(ptsname(m_master));
    m_slave =
        ::open(ptsname(m_master), O_RDWR | O_NOCTTY); // the master reads an error while nobody has it open
    termios raw{};
    tcgetattr(m_slave, &raw);
    cfmakeraw(&raw);
    tcsetattr(m_slave, TCSANOW, &raw);
}

PtyPeer::~PtyPeer()
{
    stopServing();
    if (m_master >= 0)
        ::close(m_master);
    ::close(m_slave);
    ::close(m_wake[0]);
    ::close(m_wake[1]);
}

void PtyPeer::startServing()
{
    m_thread = std::thread([this] { serve(); });
}

void PtyPeer::stopServing()
{
    if (!m_thread.joinable())
        return;
    const char stop = 's';
    if (::write(m_wake[1], &stop, 1) != 1)
        qFatal("the peer cannot be stopped");
    m_thread.join();
}

int PtyPeer::baud() const
{
    termios settings{};
    tcgetattr(m_slave, &settings);
    switch (cfgetospeed(&settings)) {
    case B9600:
        return 9600;
    case B38400:
        return 38400;
    case B115200:
        return 115200;
    default:
        return 0;
    }
}

void PtyPeer::say(const QByteArray &octets)
{
    if (!m_isHungUp &&
        ::write(m_master, octets.constData(), static_cast<size_t>(octets.size())) != octets.size())
        qFatal("the pseudo-terminal took less than was said");
}

void PtyPeer::hangUp()
{
    m_isHungUp = true;
    ::close(m_master.exchange(-1));
}

void PtyPeer::serve()
{
    std::array<char, 4096> buffer{};
    while (!m_isHungUp) {
        std::array<pollfd, 2> files{{{m_master, POLLIN, 0}, {m_wake[0], POLLIN, 0}}};
        if (::poll(files.data(), files.size(), -1) < 0 || files[1].revents != 0)
            return;
        const ssize_t count = ::read(m_master, buffer.data(), buffer.size());
        if (count <= 0)
            return;
        heard(QByteArray(buffer.data(), count));
    }
}
