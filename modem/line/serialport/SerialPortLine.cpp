#include "modem/line/SerialLine.h"
#include "platform/files/Files.h"

#include <QFileInfo>
#include <QLockFile>
#include <QSerialPort>
#include <QSocketNotifier>
#include <QTcpSocket>
#include <QUrl>
#include <algorithm>
#ifndef Q_OS_WIN
#include <array>
#include <grp.h>
#include <poll.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace
{

constexpr int sliceMs = 250;

int remainingMs(const QDeadlineTimer &deadline)
{
    constexpr qint64 longestMs = 24LL * 3600 * 1000;
    return static_cast<int>(std::clamp<qint64>(deadline.remainingTime(), 0, longestMs));
}

/// Where QSerialPort and other programs lock a port; "" when none does.
QString lockFile(const QString &path)
{
    QString name = path;
    name.remove(QStringLiteral("/dev/")).replace(u'/', u'_');
    for (const auto *folder : {"/var/lock", "/tmp", "/run/lock"}) {
        const QString file = QString::fromLatin1(folder) + QStringLiteral("/LCK..") + name;
        if (QFileInfo::exists(file))
            return file;
    }
    return {};
}

/// Was the lock left by a kill? It is somebody's as long as its file is locked (flock); what other programs write into
/// such files counts always.
bool isOfTheDead(const QString &lock)
{
    qint64 process = 0;
    QString host;
    QString program;
    return QLockFile(lock).getLockInfo(&process, &host, &program) && !program.isEmpty() &&
           !FileLock(lock, FileLock::On::ExistingFile, std::chrono::milliseconds(0)).error().isError();
}

#ifdef Q_OS_WIN
QString pathPastLocks(const QString &)
{
    return {};
}

bool isHungUp(const QSerialPort &)
{
    return false;
}
#else
bool isInGroup(uid_t user, gid_t group)
{
    const passwd *entry = ::getpwuid(user);
    if (entry == nullptr)
        return false;
    std::array<gid_t, 256> groups{};
    int count = static_cast<int>(groups.size());
    if (::getgrouplist(entry->pw_name, entry->pw_gid, groups.data(), &count) < 0)
        return true; // in very many
    return std::find(groups.cbegin(), groups.cbegin() + count, group) != groups.cbegin() + count;
}

/// Anybody may make a lock file, but somebody who may not open the port does not hold it, nor does whoever has died, and
/// another user's file cannot be removed: a name of the port that has no such lock. "" when the lock counts. That the
/// port is open elsewhere shows all the same (TIOCEXCL).
QString pathPastLocks(const QString &path)
{
    struct stat lock = {};
    struct stat port = {};
    if (::lstat(QFile::encodeName(lockFile(path)).constData(), &lock) != 0 ||
        ::stat(QFile::encodeName(path).constData(), &port) != 0)
        return {};
    const bool mayOpen = lock.st_uid == 0 || lock.st_uid == ::geteuid() || lock.st_uid == port.st_uid ||
                         (port.st_mode & S_IWOTH) != 0 ||
                         ((port.st_mode & S_IWGRP) != 0 && isInGroup(lock.st_uid, port.st_gid));
    return mayOpen && !isOfTheDead(lockFile(path))
               ? QString()
               : QStringLiteral("/dev/./") + path.mid(QStringLiteral("/dev/").size());
}

/// What the kernel hung up reads as nothing for ever, which newer Qt takes for a port without news.
bool isHungUp(const QSerialPort &port)
{
    pollfd hangUp{port.handle(), 0, 0};
    return ::poll(&hangUp, 1, 0) > 0;
}
#endif

/// On a port of this machine, or on a raw serial server that "tcp://host:port" names.
class SerialPortLine final : public SerialLine
{
public:
    SerialPortLine();

    OpenResult open(const QString &device, int baud) override;
    void setBaud(int baud) override { m_port.setBaudRate(baud); }
    void close() override;
    bool isOpen() const override { return m_device->isOpen(); }
    QString errorText() const override { return m_errorText; }
    Wait write(QByteArrayView octets, const QDeadlineTimer &deadline) override;
    Wait waitForOctets(const QDeadlineTimer &deadline) override;
    QByteArray readAll() override;

private:
    OpenResult connectTo(const QUrl &server);
    void noteError(QSerialPort::SerialPortError error);
    void noteLoss();
    [[nodiscard]] bool isTimeOut() const;
    Wait endWait();

    QSerialPort m_port;
    QSocketNotifier m_hangUp{QSocketNotifier::Exception};
    QTcpSocket m_socket;
    QIODevice *m_device = &m_port; ///< that of the two which is used
    QString m_errorText;
    bool m_waiting = false;
    bool m_lost = false;
};

SerialPortLine::SerialPortLine()
{
    connect(&m_port, &QSerialPort::readyRead, this, &SerialLine::octetsArrived);
    connect(&m_port, &QSerialPort::errorOccurred, this, &SerialPortLine::noteError);
    connect(&m_hangUp, &QSocketNotifier::activated, this, &SerialPortLine::noteLoss);
    connect(&m_socket, &QTcpSocket::readyRead, this, &SerialLine::octetsArrived);
    connect(&m_socket, &QTcpSocket::errorOccurred, this, [this](QAbstractSocket::SocketError error) {
        if (error != QAbstractSocket::SocketTimeoutError)
            noteLoss();
    });
}

SerialLine::OpenResult SerialPortLine::open(const QString &device, int baud)
{
    close();
    if (const QUrl url(device); url.scheme() == QLatin1StringView("tcp"))
        return connectTo(url);
    m_device = &m_port;
    // The real path: the lock of one device is then the same under all its names.
    const QString path = QFileInfo(device).canonicalFilePath();
#ifdef Q_OS_WIN
    m_port.setPortName(device);
#else
    if (path.isEmpty())
        return OpenResult::NoSuchDevice;
    m_port.setPortName(path);
#endif
    m_port.setBaudRate(baud);
    m_port.setDataBits(QSerialPort::Data8);
    m_port.setParity(QSerialPort::NoParity);
    m_port.setStopBits(QSerialPort::OneStop);
    m_port.setFlowControl(QSerialPort::NoFlowControl);
    m_lost = false;
    m_waiting = true; // errors while opening are this function's result
    bool opened = m_port.open(QIODevice::ReadWrite);
    // QSerialPort takes it for another's in a container, where each server is process 1.
    if (!opened && m_port.error() == QSerialPort::PermissionError && isOfTheDead(lockFile(path)) &&
        QLockFile(lockFile(path)).removeStaleLockFile())
        opened = m_port.open(QIODevice::ReadWrite);
    const bool isLocked = !opened && m_port.error() == QSerialPort::PermissionError;
    if (const QString another = isLocked ? pathPastLocks(path) : QString(); !another.isEmpty()) {
        m_port.setPortName(another);
        opened = m_port.open(QIODevice::ReadWrite);
    }
    const QSerialPort::SerialPortError error = m_port.error();
    m_errorText = m_port.errorString();
    if (opened)
        m_port.setDataTerminalReady(
            true); // USB modems stay silent without it; a pseudo-terminal has no such line
    m_waiting = false;
    m_lost = false;
    if (opened) {
#ifndef Q_OS_WIN
        m_hangUp.setSocket(m_port.handle());
        m_hangUp.setEnabled(true);
#endif
        return OpenResult::Opened;
    }
    if (error == QSerialPort::DeviceNotFoundError)
        return OpenResult::NoSuchDevice;
    if (error != QSerialPort::PermissionError)
        return OpenResult::Failed;
    // One code for "no right" and "locked by another": the file's own rights tell them apart.
    const QFileInfo file(path);
    if (!file.isReadable() || !file.isWritable())
        return OpenResult::Denied;
    if (const QString lock = lockFile(path); !lock.isEmpty())
        m_errorText = QStringLiteral("锁文件 %1").arg(lock);
    return OpenResult::Busy;
}

SerialLine::OpenResult SerialPortLine::connectTo(const QUrl &server)
{
    constexpr int limitMs = 5000;
    m_device = &m_socket;
    m_waiting = true;
    m_socket.connectToHost(server.host(), static_cast<quint16>(server.port()));
    const bool connected = m_socket.waitForConnected(limitMs);
    m_waiting = false;
    m_lost = false;
    m_errorText = m_socket.errorString();
    if (!connected) {
        m_socket.abort();
        return OpenResult::Failed;
    }
    m_socket.setSocketOption(QAbstractSocket::LowDelayOption, 1);
    m_socket.setSocketOption(QAbstractSocket::KeepAliveOption, 1);
    return OpenResult::Opened;
}

void SerialPortLine::close()
{
    if (!m_device->isOpen())
        return;
    m_waiting = true; // what goes wrong while closing does not matter
    m_hangUp.setEnabled(false);
    if (m_device == &m_port)
        m_port.clear();
    else
        m_socket.abort(); // what the server has not taken is dropped
    m_device->close();
    m_waiting = false;
    m_lost = false;
}

SerialLine::Wait SerialPortLine::write(QByteArrayView octets, const QDeadlineTimer &deadline)
{
    if (!m_device->isOpen())
        return Wait::Lost;
    trace(TraceDirection::Sent, octets);
    m_waiting = true;
    Wait result = Wait::Ready;
    if (m_device->write(octets.data(), octets.size()) != octets.size())
        m_lost = true;
    m_device == &m_port ? m_port.flush() : m_socket.flush();
    while (!m_lost && m_device->bytesToWrite() > 0) {
        const int limit = remainingMs(deadline);
        if (limit == 0 || !m_device->waitForBytesWritten(limit)) {
            if (!m_lost && deadline.hasExpired()) {
                if (m_device == &m_port)
                    m_port.clear(QSerialPort::Output);
                else
                    m_lost = true; // what is half gone cannot be taken back
                result = Wait::TimedOut;
                break;
            }
            if (!m_lost && !isTimeOut())
                m_lost = true;
        }
    }
    const Wait end = endWait();
    return end == Wait::Lost ? end : result;
}

SerialLine::Wait SerialPortLine::waitForOctets(const QDeadlineTimer &deadline)
{
    if (!m_device->isOpen())
        return Wait::Lost;
    if (m_device->bytesAvailable() > 0)
        return Wait::Ready;
    m_waiting = true;
    bool ready = m_device->waitForReadyRead(std::min(sliceMs, remainingMs(deadline)));
    while (!ready && !m_lost && isTimeOut() && !deadline.hasExpired()) {
        whileWaiting();
        ready = m_device->waitForReadyRead(std::min(sliceMs, remainingMs(deadline)));
    }
    if (!ready && !m_lost && !isTimeOut())
        m_lost = true;
    // What arrived together with the hang-up still counts.
    if (m_device->bytesAvailable() > 0) {
        m_waiting = false;
        return Wait::Ready;
    }
    const Wait end = endWait();
    if (end == Wait::Lost || ready)
        return end;
    return Wait::TimedOut;
}

SerialLine::Wait SerialPortLine::endWait()
{
    m_waiting = false;
    if (!m_lost)
        return Wait::Ready;
    close();
    return Wait::Lost;
}

QByteArray SerialPortLine::readAll()
{
    QByteArray octets = m_device->isOpen() ? m_device->readAll() : QByteArray();
    if (!octets.isEmpty())
        trace(TraceDirection::Received, octets);
    return octets;
}

void SerialPortLine::noteError(QSerialPort::SerialPortError error)
{
    // A vanished pseudo-terminal is a read error, a vanished USB device a resource error.
    if (error != QSerialPort::ReadError && error != QSerialPort::WriteError &&
        error != QSerialPort::ResourceError)
        return;
    noteLoss();
}

bool SerialPortLine::isTimeOut() const
{
    return m_device == &m_port ? m_port.error() == QSerialPort::TimeoutError && !isHungUp(m_port)
                               : m_socket.error() == QAbstractSocket::SocketTimeoutError;
}

void SerialPortLine::noteLoss()
{
    m_lost = true;
    if (m_waiting)
        return;
    close(); // at once: the port would report the same error for ever
    emit lost();
}

} // namespace

std::unique_ptr<SerialLine> makeSerialLine()
{
    return std::make_unique<SerialPortLine>();
}
