#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QString>

/// The service manager that watches over this process (sd_notify(3): datagrams to $NOTIFY_SOCKET). Without one
/// every call does nothing. Programs started from here do not inherit it.
class Supervisor
{
public:
    Supervisor();

    /// The program is up. Afterwards the manager waits for signs of life, if it wants any.
    void ready();
    /// One line for people, told when it changes.
    void status(const QString &text);
    /// A sign of life; cheap enough to be given at every opportunity.
    void alive();
    void stopping();

private:
    void tell(const QByteArray &assignment) const;

    QByteArray m_socket;
    qint64 m_pauseMs = 0; // between signs of life; 0: none wanted
    QElapsedTimer m_sinceSign;
    QString m_status;
};
