#include "tests/support/DovecotServer.h"

#include "tests/support/Loopback.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <grp.h>
#include <pwd.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{
constexpr uid_t mailUser = 8; // "mail" on every Debian

void writeFile(const QString &path, const QByteArray &octets)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(octets) != octets.size())
        qFatal("cannot write %s", qPrintable(path));
}

/// Dovecot reads mailboxes under an account of its own when we are root.
void giveToMailUser(const QString &path)
{
    if (::geteuid() == 0 && ::chown(path.toUtf8().constData(), mailUser, mailUser) != 0)
        qFatal("cannot hand %s over", qPrintable(path));
}

QString program(const QString &name)
{
    const QString inPath = QStandardPaths::findExecutable(name);
    return inPath.isEmpty() ? QStandardPaths::findExecutable(name, {u"/usr/sbin"_s, u"/usr/local/sbin"_s})
                            : inPath;
}
} // namespace

DovecotServer::DovecotServer(PlainText plainText) : m_port(freeLoopbackPort()), m_tlsPort(freeLoopbackPort())
{
    // Dovecot drops its rights and must still reach its folder.
    QFile::setPermissions(m_dir.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner |
                                            QFile::ReadGroup | QFile::ExeGroup | QFile::ReadOther |
                                            QFile::ExeOther);
    if (!makeCertificate() || program(u"dovecot"_s).isEmpty()) {
        m_problem = u"dovecot or openssl is missing"_s;
        return;
    }
    writeConfiguration(plainText);
    if (!start())
        m_problem = u"dovecot does not start: "_s + QString::fromUtf8(m_process.readAll());
}

DovecotServer::~DovecotServer()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.terminate(); // the master ends its children
    if (!m_process.waitForFinished(10'000))
        m_process.kill();
    m_process.waitForFinished(5'000);
}

bool DovecotServer::makeCertificate()
{
    QProcess openssl;
    openssl.start(u"openssl"_s,
                  {u"req"_s, u"-x509"_s, u"-newkey"_s, u"rsa:2048"_s, u"-nodes"_s, u"-days"_s, u"30"_s,
                   u"-subj"_s, u"/CN=localhost"_s, u"-addext"_s, u"subjectAltName=DNS:localhost"_s,
                   u"-keyout"_s, m_dir.filePath(u"key.pem"_s), u"-out"_s, m_dir.filePath(u"cert.pem"_s)});
    return openssl.waitForFinished(30'000) && openssl.exitCode() == 0;
}

void DovecotServer::writeConfiguration(PlainText plainText)
{
    QDir().mkpath(m_dir.filePath(u"run"_s));
    QDir().mkpath(m_dir.filePath(u"mail"_s));
    giveToMailUser(m_dir.filePath(u"mail"_s));
    QFile pattern(QStringLiteral(DOVECOT_CONFIGURATION));
    if (!pattern.open(QIODevice::ReadOnly))
        qFatal("dovecot.conf.in is missing");
    const bool allowed = plainText == PlainText::Allowed;
    const bool root = ::geteuid() == 0;
    QByteArray text = pattern.readAll();
    const QByteArray self = ::getpwuid(::geteuid())->pw_name;
    const QByteArray group = ::getgrgid(::getegid())->gr_name;
    text.replace("@DIR@", m_dir.path().toUtf8());
    text.replace("@PORT@", QByteArray::number(m_port));
    text.replace("@TLS_PORT@", QByteArray::number(m_tlsPort));
    text.replace("@PASSWORD_HEX@", password().toUtf8().toHex());
    text.replace("@UID@", QByteArray::number(root ? mailUser : ::geteuid()));
    text.replace("@GID@", QByteArray::number(root ? mailUser : ::getegid()));
    text.replace("@NO_PLAIN_TEXT@", allowed ? "no" : "yes");
    text.replace("@MECHANISMS@", allowed ? "plain login cram-md5" : "plain login");
    text.replace("@INTERNAL_USER@", root ? "dovecot" : self);
    text.replace("@INTERNAL_GROUP@", root ? "dovecot" : group);
    text.replace("@LOGIN_USER@", root ? "dovenull" : self);
    writeFile(m_dir.filePath(u"dovecot.conf"_s), text);
}

bool DovecotServer::start()
{
    m_process.setProcessChannelMode(QProcess::MergedChannels);
    m_process.start(program(u"dovecot"_s), {u"-F"_s, u"-c"_s, m_dir.filePath(u"dovecot.conf"_s)});
    return m_process.waitForStarted(10'000) && waitForGreeting(m_port, std::chrono::seconds(20));
}

QString DovecotServer::folderOf(const QString &user) const
{
    return m_dir.filePath(u"mail/"_s + user);
}

void DovecotServer::deliver(const QString &user, const QByteArray &octets)
{
    const QString folder = folderOf(user);
    for (const QString &part : {u"/new"_s, u"/cur"_s, u"/tmp"_s}) {
        if (!QDir().mkpath(folder + part))
            qFatal("cannot make a mailbox");
    }
    ++m_delivered;
    // Dovecot numbers by the time in front of the name.
    const QString name = u"%1.M%2.test"_s.arg(1'700'000'000 + m_delivered).arg(m_delivered);
    // A session that is open takes what is in new/ at any time.
    writeFile(folder + u"/tmp/"_s + name, octets);
    for (const QString &path :
         {folder, folder + u"/new"_s, folder + u"/cur"_s, folder + u"/tmp"_s, folder + u"/tmp/"_s + name})
        giveToMailUser(path);
    if (!QFile::rename(folder + u"/tmp/"_s + name, folder + u"/new/"_s + name))
        qFatal("cannot deliver a mail");
}

int DovecotServer::stored(const QString &user) const
{
    return static_cast<int>(QDir(folderOf(user) + u"/new"_s).entryList(QDir::Files).size() +
                            QDir(folderOf(user) + u"/cur"_s).entryList(QDir::Files).size());
}
