#include "tests/support/DovecotServer.h"

#include "platform/fault/Fault.h"

#include <QDir>
#include <QFile>

#include <chrono>

using namespace Qt::StringLiterals;

namespace
{

constexpr auto limitMs = static_cast<int>(std::chrono::milliseconds(std::chrono::seconds(20)).count());
/// Dovecot reads mailboxes under an account of its own when we are root.
constexpr auto everybody = QFile::Permissions(0x7777);

} // namespace

DovecotServer::DovecotServer()
{
    m_script.start(u"bash"_s, {QStringLiteral(MAIL_SERVER_SCRIPT), password()});
    while (m_script.waitForReadyRead(limitMs) && !m_script.canReadLine())
        ;
    const QString said = QString::fromUtf8(m_script.readLine());
    const QStringList place = said.simplified().split(u' ');
    if (place.size() != 3 || !QDir(place[0]).exists()) {
        m_script.waitForFinished(limitMs);
        throw Fault(u"no mail server: "_s + said + QString::fromUtf8(m_script.readAll()));
    }
    m_folder = place[0];
    m_port = place[1].toInt();
    m_tlsPort = place[2].toInt();
}

DovecotServer::~DovecotServer()
{
    m_script.closeWriteChannel(); // which ends it
    if (!m_script.waitForFinished(limitMs))
        m_script.kill();
}

void DovecotServer::deliver(const QString &user, const QByteArray &octets)
{
    const QString folder = folderOf(user);
    for (const QString &part : {u""_s, u"/new"_s, u"/cur"_s, u"/tmp"_s}) {
        if (QDir().mkpath(folder + part) && !QFile::setPermissions(folder + part, everybody))
            qFatal("cannot make a mailbox");
    }
    ++m_delivered;
    // Dovecot numbers by the time in front of the name. A session that is open takes what is in new/ at any time.
    const QString name = u"/%1.M%2.test"_s.arg(1'700'000'000 + m_delivered).arg(m_delivered);
    QFile file(folder + u"/tmp"_s + name);
    if (!file.open(QIODevice::WriteOnly) || file.write(octets) != octets.size() || !file.flush() ||
        !file.rename(folder + u"/new"_s + name))
        qFatal("cannot deliver a mail");
}

int DovecotServer::stored(const QString &user) const
{
    return static_cast<int>(QDir(folderOf(user) + u"/new"_s).entryList(QDir::Files).size() +
                            QDir(folderOf(user) + u"/cur"_s).entryList(QDir::Files).size());
}
