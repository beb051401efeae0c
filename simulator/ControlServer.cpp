#include "simulator/ControlServer.h"

#include <QDir>
#include <QLocalSocket>
#include <cstdio>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace simulator
{
namespace
{
constexpr qint64 maxLine = 1'048'576;

/// From the root a relative path may be longer than the name of a socket can be.
QString socketName(const QString &path)
{
    return QDir::isAbsolutePath(path) ? path : u"/proc/self/cwd/"_s + path;
}

bool connectTo(QLocalSocket &socket, const QString &path)
{
    socket.connectToServer(socketName(path));
    return socket.waitForConnected();
}
} // namespace

ControlServer::ControlServer(const QString &path, std::function<QString(const QString &)> run)
    : m_run(std::move(run))
{
    const auto listens = [&] { return m_server.listen(socketName(path)); };
    bool isListening = listens();
    if (QLocalSocket other; !isListening && !connectTo(other, path)) {
        QLocalServer::removeServer(socketName(path));
        isListening = listens();
    }
    if (!isListening)
        throw std::runtime_error(
            u"cannot listen at %1: %2"_s.arg(path, m_server.errorString()).toStdString());
    connect(&m_server, &QLocalServer::newConnection, this, &ControlServer::accept);
}

void ControlServer::accept()
{
    QLocalSocket *client = m_server.nextPendingConnection();
    connect(client, &QLocalSocket::disconnected, client, &QObject::deleteLater);
    connect(client, &QLocalSocket::readyRead, this, [this, client] {
        if (client->canReadLine()) {
            client->write(m_run(QString::fromUtf8(client->readLine())).toUtf8() + '\n');
            client->flush(); // the command may have been to end
            client->disconnectFromServer();
        } else if (client->bytesAvailable() > maxLine) {
            client->abort();
        }
    });
}

int runControlCommand(const QString &path, QString line)
{
    QLocalSocket socket;
    if (!connectTo(socket, path))
        throw std::runtime_error(u"no simulator at %1: %2"_s.arg(path, socket.errorString()).toStdString());
    // A line end inside the command would end it.
    socket.write(line.replace(u'\n', u' ').toUtf8() + '\n');
    while (socket.waitForReadyRead(-1)) {
    }
    const QByteArray answer = socket.readAll();
    std::fwrite(answer.constData(), 1, static_cast<size_t>(answer.size()), stdout);
    return answer.startsWith("ok") ? 0 : 1;
}
} // namespace simulator
