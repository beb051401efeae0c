#pragma once

#include <QByteArrayList>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

/// A private Dovecot on loopback ports of its own, with its own folder, certificate and users. It starts in
/// the constructor, answers when that returns, and is gone after the destructor.
class DovecotServer
{
public:
    enum class PlainText {
        Allowed,  ///< login in clear text and by CRAM-MD5
        AfterTls, ///< login only after STLS or on the TLS port
    };
    explicit DovecotServer(PlainText plainText = PlainText::Allowed);
    ~DovecotServer();
    DovecotServer(const DovecotServer &) = delete;
    DovecotServer &operator=(const DovecotServer &) = delete;

    /// Empty, or why it does not run.
    [[nodiscard]] const QString &problem() const { return m_problem; }
    [[nodiscard]] int port() const { return m_port; }
    [[nodiscard]] int tlsPort() const { return m_tlsPort; }
    /// PEM file with the authority that signed the certificate, which is for "localhost".
    [[nodiscard]] QString authorityFile() const { return m_dir.filePath(QStringLiteral("cert.pem")); }
    /// Password of every user; any user name logs in.
    [[nodiscard]] static QString password() { return QStringLiteral("geheim \"%@'密码"); }

    /// Puts a message into a user's mailbox. octets: LF or CR LF line ends. Messages are numbered in the
    /// order in which they were put there.
    void deliver(const QString &user, const QByteArray &octets);
    /// Number of messages that the user's mailbox holds on disk.
    [[nodiscard]] int stored(const QString &user) const;

private:
    [[nodiscard]] QString folderOf(const QString &user) const;
    bool makeCertificate();
    void writeConfiguration(PlainText plainText);
    bool start();

    QTemporaryDir m_dir;
    QProcess m_process;
    QString m_problem;
    int m_port = 0;
    int m_tlsPort = 0;
    int m_delivered = 0;
};
