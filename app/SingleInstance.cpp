#include "app/SingleInstance.h"

#include "platform/fault/Fault.h"

#include <QCryptographicHash>
#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>
#include <QLocalSocket>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace
{

constexpr int connectMilliseconds = 2000;
/// A pass that waits for the modem or the database answers after its row.
constexpr int answerMilliseconds = 60'000;
/// Whoever calls may neither stay nor come in crowds.
constexpr std::chrono::seconds callersTime{5};
constexpr int mostCallers = 8;
constexpr qint64 longestQuestion = 16;
/// Of a socket's path, as the system's address holds it.
constexpr qsizetype longestPath = 100;

/// The same for every way to name the file, links included.
QString canonicalName(const QString &settingsFile)
{
    const QFileInfo file(settingsFile);
    if (const FileError error = makeFolders(file.absolutePath()); error.isError())
        throw Fault(u"无法创建文件夹 %1：%2"_s.arg(file.absolutePath(), error.text()));
    return file.exists() ? file.canonicalFilePath()
                         : QFileInfo(file.absolutePath()).canonicalFilePath() + u'/' + file.fileName();
}

QString lockOf(const QString &settingsFile)
{
    return canonicalName(settingsFile) + u".running"_s;
}

/// Beside the lock; where that path is too long for a socket, in the folder for temporary files.
QString socketOf(const QString &settingsFile)
{
    const QString name = canonicalName(settingsFile);
    const QByteArray octets = QFile::encodeName(name + u".socket"_s);
    if (octets.size() <= longestPath)
        return QFile::decodeName(octets);
    const QByteArray hash = QCryptographicHash::hash(name.toUtf8(), QCryptographicHash::Sha256);
    return u"sms-server-"_s + QString::fromLatin1(hash.toHex().left(32));
}

/// What comes until the other end closes; nothing when that end was not reached.
std::optional<QByteArray> call(const QString &server, const QByteArray &question, int milliseconds)
{
    QLocalSocket socket;
    socket.connectToServer(server);
    if (!socket.waitForConnected(connectMilliseconds))
        return std::nullopt;
    socket.write(question + '\n');
    const QDeadlineTimer end(milliseconds);
    while (socket.state() != QLocalSocket::UnconnectedState && !end.hasExpired())
        socket.waitForReadyRead(int(end.remainingTime()));
    return socket.readAll();
}

/// isRunning() holds the lock no longer.
constexpr std::chrono::milliseconds momentOfACheck{200};

} // namespace

SingleInstance::SingleInstance(const QString &settingsFile)
    : m_serverName(socketOf(settingsFile)), m_lock(lockOf(settingsFile), FileLock::On::File, momentOfACheck)
{
    if (m_lock.error().isBusy())
        return;
    if (!isFirst())
        throw Fault(u"无法建立锁文件 %1：%2"_s.arg(lockOf(settingsFile), m_lock.error().text()));
    // Whatever socket is there belongs to a dead process: the lock is ours.
    QLocalServer::removeServer(m_serverName);
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    connect(&m_server, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket *caller = m_server.nextPendingConnection())
            receive(*caller);
    });
    // Without it later starts cannot raise the window, which is no reason not to serve.
    m_server.listen(m_serverName);
}

bool SingleInstance::isRunning(const QString &settingsFile)
{
    const FileLock lock(lockOf(settingsFile), FileLock::On::ExistingFile, std::chrono::milliseconds(0));
    return lock.error().isBusy();
}

void SingleInstance::receive(QLocalSocket &caller)
{
    ++m_callers;
    connect(&caller, &QObject::destroyed, this, [this] { --m_callers; });
    connect(&caller, &QLocalSocket::disconnected, &caller, &QObject::deleteLater);
    if (m_callers > mostCallers) {
        caller.abort();
        return;
    }
    QTimer::singleShot(callersTime, &caller, &QLocalSocket::abort);
    const auto answer = [this, &caller] {
        if (!caller.canReadLine() && caller.bytesAvailable() < longestQuestion)
            return;
        const QByteArray question = caller.readLine(longestQuestion).trimmed();
        disconnect(&caller, &QLocalSocket::readyRead, this, nullptr); // one question a call
        if (question == "show")
            emit startedAgain();
        else if (m_answers)
            caller.write(m_answers(question).toUtf8());
        caller.disconnectFromServer(); // once all is written
    };
    connect(&caller, &QLocalSocket::readyRead, this, answer);
    answer();
}

std::optional<QString> SingleInstance::ask(const QString &settingsFile, const QByteArray &question)
{
    if (!isRunning(settingsFile))
        return std::nullopt;
    const auto answer = call(socketOf(settingsFile), question, answerMilliseconds);
    if (!answer || answer->isEmpty())
        throw Fault(u"短信服务器正在运行，但没有应答，或本用户无权询问"_s);
    return QString::fromUtf8(*answer);
}

QString SingleInstance::callFirst() const
{
    return call(m_serverName, "show", connectMilliseconds) ? u"短信服务器已在运行，已请它显示窗口。\n"_s
                                                           : u"短信服务器已在运行。\n"_s;
}
