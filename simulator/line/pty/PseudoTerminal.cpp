#include "simulator/line/pty/PseudoTerminal.h"

#include <QFile>
#include <QHash>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <system_error>
#include <termios.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace simulator
{
namespace
{
[[noreturn]] void fail(const QString &what)
{
    throw std::system_error(errno, std::generic_category(), what.toStdString());
}
} // namespace

PseudoTerminal::~PseudoTerminal()
{
    unplug();
}

QString PseudoTerminal::name() const
{
    return u"%1 -> %2"_s.arg(m_link, m_devicePath);
}

void PseudoTerminal::plug()
{
    try {
        create();
        watchPeers();
        createLink();
    } catch (const std::runtime_error &) {
        closeDescriptors();
        throw;
    }
    m_readable = new QSocketNotifier(m_master, QSocketNotifier::Read, this);
    connect(m_readable, &QSocketNotifier::activated, this, &PseudoTerminal::readMaster);
    m_writable = new QSocketNotifier(m_master, QSocketNotifier::Write, this);
    m_writable->setEnabled(false);
    connect(m_writable, &QSocketNotifier::activated, this, [this] {
        m_writable->setEnabled(false);
        emit writable();
    });
}

void PseudoTerminal::create()
{
    m_master = ::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    std::array<char, 128> name{};
    if (m_master < 0 || ::grantpt(m_master) != 0 || ::unlockpt(m_master) != 0 ||
        ::ptsname_r(m_master, name.data(), name.size()) != 0)
        fail(u"cannot create a pseudo-terminal"_s);
    m_devicePath = QString::fromLocal8Bit(name.data());
    m_slave = ::open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios mode{};
    if (m_slave < 0 || ::tcgetattr(m_slave, &mode) != 0)
        fail(u"cannot open "_s + m_devicePath);
    ::cfmakeraw(&mode);
    ::tcsetattr(m_slave, TCSANOW, &mode);
}

/// The link appears in one step, so that whoever waits for it finds it whole.
void PseudoTerminal::createLink()
{
    using namespace std::filesystem;
    const path link(QFile::encodeName(m_link).toStdString());
    const path fresh(link.string() + ".new");
    if (exists(symlink_status(link)) && !is_symlink(link))
        throw std::runtime_error(link.string() + " exists and is no symbolic link; it is left alone");
    remove(fresh);
    create_symlink(QFile::encodeName(m_devicePath).toStdString(), fresh);
    rename(fresh, link);
}

void PseudoTerminal::watchPeers()
{
    m_inotify = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (m_inotify < 0 ||
        ::inotify_add_watch(m_inotify, QFile::encodeName(m_devicePath).constData(), IN_OPEN | IN_CLOSE) < 0)
        fail(u"cannot watch "_s + m_devicePath);
    m_peerEvents = new QSocketNotifier(m_inotify, QSocketNotifier::Read, this);
    connect(m_peerEvents, &QSocketNotifier::activated, this, &PseudoTerminal::readPeerEvents);
}

void PseudoTerminal::readPeerEvents()
{
    alignas(inotify_event) std::array<char, 4096> buffer{};
    ssize_t got = 0;
    while ((got = ::read(m_inotify, buffer.data(), buffer.size())) > 0) {
        for (size_t at = 0; at < static_cast<size_t>(got);) {
            inotify_event event{};
            std::memcpy(&event, buffer.data() + at, sizeof event);
            at += sizeof event + event.len;
            if (event.mask & IN_OPEN)
                ++m_peers;
            if ((event.mask & IN_CLOSE) && m_peers > 0)
                --m_peers;
        }
    }
    if (m_peers == 0) {
        // Our own descriptor keeps the terminal alive, so the mark of exclusive use that a killed program
        // left would lock everybody else out for ever.
        ::ioctl(m_slave, TIOCNXCL);
        ::tcflush(m_slave, TCIFLUSH);
    }
    emit peersChanged(m_peers > 0);
}

void PseudoTerminal::unplug()
{
    if (!isPlugged())
        return;
    // Someone else may have replaced the link meanwhile.
    if (QFile::symLinkTarget(m_link) == m_devicePath)
        QFile::remove(m_link);
    closeDescriptors();
}

void PseudoTerminal::closeDescriptors()
{
    // A notifier may be the sender of the call that leads here.
    for (QSocketNotifier **notifier : {&m_readable, &m_writable, &m_peerEvents}) {
        if (*notifier) {
            (*notifier)->setEnabled(false);
            (*notifier)->deleteLater();
            *notifier = nullptr;
        }
    }
    for (int *descriptor : {&m_slave, &m_master, &m_inotify}) {
        if (*descriptor >= 0)
            ::close(*descriptor);
        *descriptor = -1;
    }
    m_peers = 0;
}

void PseudoTerminal::readMaster()
{
    std::array<char, 4096> buffer{};
    while (isPlugged()) {
        const ssize_t got = ::read(m_master, buffer.data(), buffer.size());
        if (got > 0)
            emit received(QByteArray(buffer.data(), got));
        else if (got == 0 || errno != EINTR)
            return;
    }
}

qsizetype PseudoTerminal::write(const QByteArray &octets)
{
    qsizetype done = 0;
    while (done < octets.size()) {
        const ssize_t written =
            ::write(m_master, octets.constData() + done, static_cast<size_t>(octets.size() - done));
        if (written > 0)
            done += written;
        else if (errno != EINTR)
            break;
    }
    m_writable->setEnabled(done < octets.size());
    return done;
}

bool PseudoTerminal::isPeerAt(int speed) const
{
    static const QHash<int, speed_t> speeds{{1200, B1200},     {2400, B2400},     {4800, B4800},
                                            {9600, B9600},     {19200, B19200},   {38400, B38400},
                                            {57600, B57600},   {115200, B115200}, {230400, B230400},
                                            {460800, B460800}, {921600, B921600}};
    termios mode{};
    return ::tcgetattr(m_slave, &mode) != 0 || ::cfgetospeed(&mode) == speeds.value(speed);
}
} // namespace simulator
