#include "simulator/ControlServer.h"

#include <QFile>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace simulator
{
namespace
{
constexpr qsizetype maxLine = 1'048'576;
constexpr int backlog = 16;

std::runtime_error fault(const QString &what)
{
    const int error = errno;
    return std::runtime_error(
        u"%1: %2"_s.arg(what, QString::fromLocal8Bit(std::strerror(error))).toStdString());
}

sockaddr_un addressOf(const QString &path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const QByteArray name = QFile::encodeName(path);
    if (name.isEmpty() || name.size() >= static_cast<qsizetype>(sizeof address.sun_path))
        throw std::runtime_error(u"\"%1\" is too long for a socket"_s.arg(path).toStdString());
    std::memcpy(address.sun_path, name.constData(), static_cast<size_t>(name.size()));
    return address;
}

int connectTo(const QString &path)
{
    const sockaddr_un address = addressOf(path);
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    // The socket interface takes every address family through its general structure.
    if (descriptor >= 0 &&
        ::connect(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0)
        return descriptor;
    const int error = errno;
    if (descriptor >= 0)
        ::close(descriptor);
    errno = error;
    return -1;
}

bool sendAll(int descriptor, const QByteArray &octets)
{
    for (qsizetype done = 0; done < octets.size();) {
        const ssize_t sent = ::send(descriptor, octets.constData() + done,
                                    static_cast<size_t>(octets.size() - done), MSG_NOSIGNAL);
        if (sent < 0 && errno != EINTR)
            return false;
        done += qMax<ssize_t>(0, sent);
    }
    return true;
}
} // namespace

ControlServer::ControlServer(QString path, std::function<QString(const QString &)> run)
    : m_path(std::move(path)), m_run(std::move(run))
{
    const sockaddr_un address = addressOf(m_path);
    if (const int other = connectTo(m_path); other >= 0) {
        ::close(other);
        throw std::runtime_error(u"another simulator listens at %1"_s.arg(m_path).toStdString());
    }
    if (errno == ECONNREFUSED)
        ::unlink(address.sun_path);
    m_listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (m_listener < 0 ||
        ::bind(m_listener, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        ::listen(m_listener, backlog) != 0) {
        const int error = errno;
        if (m_listener >= 0)
            ::close(m_listener);
        errno = error;
        throw fault(u"cannot listen at "_s + m_path);
    }
    m_incoming = new QSocketNotifier(m_listener, QSocketNotifier::Read, this);
    connect(m_incoming, &QSocketNotifier::activated, this, &ControlServer::accept);
}

ControlServer::~ControlServer()
{
    m_incoming->setEnabled(false);
    ::close(m_listener);
    ::unlink(QFile::encodeName(m_path).constData());
    const QList<int> descriptors = m_clients.keys();
    for (const int descriptor : descriptors)
        drop(descriptor);
}

void ControlServer::accept()
{
    const int descriptor = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (descriptor < 0)
        return;
    auto *readable = new QSocketNotifier(descriptor, QSocketNotifier::Read, this);
    m_clients.insert(descriptor, Client{readable, {}});
    connect(readable, &QSocketNotifier::activated, this, [this, descriptor] { read(descriptor); });
}

void ControlServer::read(int descriptor)
{
    std::array<char, 4096> buffer{};
    const ssize_t got = ::recv(descriptor, buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (got < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    QByteArray &input = m_clients[descriptor].input;
    if (got > 0)
        input += QByteArray(buffer.data(), got);
    if (got <= 0 || input.size() > maxLine) {
        drop(descriptor);
        return;
    }
    for (qsizetype end = input.indexOf('\n'); end >= 0; end = input.indexOf('\n')) {
        const QString line = QString::fromUtf8(input.first(end));
        input.remove(0, end + 1);
        if (!sendAll(descriptor, m_run(line).toUtf8() + '\n')) {
            drop(descriptor);
            return;
        }
    }
}

void ControlServer::drop(int descriptor)
{
    const Client client = m_clients.take(descriptor);
    client.readable->setEnabled(false);
    client.readable->deleteLater();
    ::close(descriptor);
}

int runControlCommand(const QString &path, const QString &line)
{
    const int descriptor = connectTo(path);
    if (descriptor < 0)
        throw fault(u"no simulator at "_s + path);
    QByteArray answer;
    // A line end inside the command would start another one.
    QString oneLine = line;
    oneLine.replace(u'\n', u' ').replace(u'\r', u' ');
    if (sendAll(descriptor, oneLine.toUtf8() + '\n')) {
        std::array<char, 4096> buffer{};
        const auto complete = [&answer] {
            const qsizetype lastLine = answer.lastIndexOf('\n', -2) + 1;
            return answer.endsWith('\n') && !answer.mid(lastLine).startsWith("  ");
        };
        ssize_t got = 0;
        while (!complete() && (got = ::recv(descriptor, buffer.data(), buffer.size(), 0)) > 0)
            answer += QByteArray(buffer.data(), got);
    }
    ::close(descriptor);
    std::fwrite(answer.constData(), 1, static_cast<size_t>(answer.size()), stdout);
    const qsizetype lastLine = answer.lastIndexOf('\n', -2) + 1;
    return answer.mid(lastLine).startsWith("ok") ? 0 : 1;
}
} // namespace simulator
