#pragma once

#include <QString>

/// As little as a program can do with a mailbox: libcurl's own POP3, everything received thrown away.
class BareMailbox
{
public:
    BareMailbox(int port, const QString &login, const QString &password);
    ~BareMailbox();
    BareMailbox(const BareMailbox &) = delete;
    BareMailbox &operator=(const BareMailbox &) = delete;

    /// Octets received. Both throw std::runtime_error.
    qint64 retrieve(int message);
    qint64 listUniqueIds();

private:
    qint64 perform(const QByteArray &path, const char *command);

    void *m_curl;
    QByteArray m_url;
    qint64 m_octets = 0;
};
