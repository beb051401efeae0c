#pragma once

#include "database/Connection.h"
#include "platform/registry/Registry.h"

/// The one database session that all passes and handlers share.
class DatabaseSession
{
public:
    /// lastRead: the connection string in the place of a registry that cannot be read.
    explicit DatabaseSession(const Registry &registry, QString lastRead = {})
        : m_registry(registry), m_lastRead(std::move(lastRead))
    {
    }

    /// (Re)opens Conn from the stored connection string. False on any failure; Conn is then not usable.
    [[nodiscard]] bool OpenDB();
    /// Why the last OpenDB failed, in words; never a password.
    [[nodiscard]] const QString &openFailure() const { return m_openFailure; }

    /// Why the connection string that was read before is in use, "" when that of the registry is.
    [[nodiscard]] const QString &readFailure() const { return m_readFailure; }

    /// The shared connection. Not open until the first OpenDB.
    [[nodiscard]] Connection &Conn() { return m_connection; }

    /// The stored connection string, "" when there is none; of a registry that cannot be read, the one that was read
    /// last. Throws Fault when none ever was.
    [[nodiscard]] QString GetConnectString();

private:
    const Registry &m_registry;
    QString m_lastRead; // connection string
    Connection m_connection;
    QString m_openFailure;
    QString m_readFailure;
};
