#include "app/SingleInstance.h"

#include "platform/fault/Fault.h"

#include <QCryptographicHash>
#include <QFileInfo>
#include <QLocalSocket>

using namespace Qt::StringLiterals;

namespace
{

constexpr int connectMilliseconds = 2000;

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

/// isRunning() holds the lock no longer.
constexpr std::chrono::milliseconds momentOfACheck{200};

} // namespace

SingleInstance::SingleInstance(const QString &settingsFile)
    : m_serverName(u"sms-server-"_s +
                   QString::fromLatin1(QCryptographicHash::hash(canonicalName(settingsFile).toUtf8(),
                                                                QCryptographicHash::Sha256)
                                           .toHex()
                                           .left(32))),
      m_lock(lockOf(settingsFile), FileLock::On::File, momentOfACheck)
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
            caller->deleteLater();
        emit startedAgain();
    });
    // Without it later starts cannot raise the window, which is no reason not to serve.
    m_server.listen(m_serverName);
}

bool SingleInstance::isRunning(const QString &settingsFile)
{
    const FileLock lock(lockOf(settingsFile), FileLock::On::ExistingFile, std::chrono::milliseconds(0));
    return lock.error().isBusy();
}

QString SingleInstance::callFirst() const
{
    QLocalSocket socket;
    socket.connectToServer(m_serverName);
    return socket.waitForConnected(connectMilliseconds) ? u"短信服务器已在运行，已请它显示窗口。\n"_s
                                                        : u"短信服务器已在运行。\n"_s;
}
