#pragma once

#include <QProcess>
#include <QString>

/// A private Dovecot on loopback ports of its own, with its own folder, certificate and users: the demo's mail
/// server. It answers when the constructor returns, is gone after the destructor, and does not outlive the test.
class DovecotServer
{
public:
    /// Throws Fault when it does not run.
    DovecotServer();
    ~DovecotServer();
    DovecotServer(const DovecotServer &) = delete;
    DovecotServer &operator=(const DovecotServer &) = delete;

    [[nodiscard]] int port() const { return m_port; }
    [[nodiscard]] int tlsPort() const { return m_tlsPort; }
    /// PEM file with the authority that signed the certificate, which is for "localhost".
    [[nodiscard]] QString authorityFile() const { return m_folder + QStringLiteral("/cert.pem"); }
    /// Password of every user; any user name logs in.
    [[nodiscard]] static QString password() { return QStringLiteral("geheim \"%@'密码"); }

    /// Puts a message into a user's mailbox. octets: LF or CR LF line ends. Messages are numbered in the
    /// order in which they were put there.
    void deliver(const QString &user, const QByteArray &octets);
    /// Number of messages that the user's mailbox holds on disk.
    [[nodiscard]] int stored(const QString &user) const;

private:
    [[nodiscard]] QString folderOf(const QString &user) const
    {
        return m_folder + QStringLiteral("/mail/") + user;
    }

    QProcess m_script;
    QString m_folder;
    int m_port = 0;
    int m_tlsPort = 0;
    int m_delivered = 0;
};
