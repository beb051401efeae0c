#include "app/SingleInstance.h"

#include "platform/fault/Fault.h"

#include <QCryptographicHash>
#include <QDir>
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
    if (!QDir().mkpath(file.absolutePath()))
        throw Fault(u"无法创建文件夹 %1"_s.arg(file.absolutePath()));
    return file.exists() ? file.canonicalFilePath()
                         : QFileInfo(file.absolutePath()).canonicalFilePath() + u'/' + file.fileName();
}

} // namespace

SingleInstance::SingleInstance(const QString &settingsFile)
    : m_serverName(u"sms-server-"_s +
                   QString::fromLatin1(QCryptographicHash::hash(canonicalName(settingsFile).toUtf8(),
                                                                QCryptographicHash::Sha256)
                                           .toHex()
                                           .left(32))),
      m_lock(canonicalName(settingsFile) + u".running"_s)
{
    m_lock.setStaleLockTime(0); // stale when its process is dead, never by age
    if (!m_lock.tryLock(0)) {
        if (m_lock.error() == QLockFile::LockFailedError)
            return;
        throw Fault(u"无法建立锁文件 %1，请检查文件夹权限"_s.arg(m_lock.fileName()));
    }
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
    const QString lockName = canonicalName(settingsFile) + u".running"_s;
    if (!QFileInfo::exists(lockName))
        return false;
    QLockFile lock(lockName);
    lock.setStaleLockTime(0);
    return !lock.tryLock(0) && lock.error() == QLockFile::LockFailedError;
}

QString SingleInstance::callFirst() const
{
    QLocalSocket socket;
    socket.connectToServer(m_serverName);
    return socket.waitForConnected(connectMilliseconds) ? u"短信服务器已在运行，已请它显示窗口。\n"_s
                                                        : u"短信服务器已在运行。\n"_s;
}
