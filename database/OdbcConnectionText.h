#pragma once

#include "database/ConnectionString.h"
#include "database/odbc/OdbcTarget.h"

/// How the line to a SQL Server is guarded.
struct SqlServerEncryption {
    enum class Mode { Off, On, Strict };
    Mode mode = Mode::Off;
    bool verifies = true; ///< the server's certificate
};
/// Of the values of Encrypt and TrustServerCertificate, "" where they are not given.
[[nodiscard]] SqlServerEncryption encryptionOf(const QString &encrypt, const QString &trust);

/// Where a SQL Server is, however the connection string said it.
struct SqlServerAddress {
    QString host; ///< name or address, or name\instance
    int port = 0; ///< 0: the usual one, or the instance's own
    QString database;
    QString user;
    QString password;
    SqlServerEncryption encryption;
};

/// The ODBC connection to a SQL Server through the best driver installed: the vendor's, else FreeTDS. Throws
/// DatabaseFault (Refused) when there is none.
[[nodiscard]] OdbcTarget sqlServerOdbcTarget(const SqlServerAddress &address, const DatabaseLimits &limits,
                                             const OdbcInstallation &installation);

/// The connection that ODBC keys ask for. The keys go to the driver as they are; a driver that is not
/// installed is replaced by one of the same family ("SQL Server" by FreeTDS, "MySQL ODBC 5.1 Driver" by
/// MariaDB's). The key Dialect is ours. Throws DatabaseFault (Refused) when there is none either.
[[nodiscard]] OdbcTarget odbcTarget(const QList<ConnectionString::Entry> &entries,
                                    const DatabaseLimits &limits, const OdbcInstallation &installation);
