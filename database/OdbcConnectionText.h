#pragma once

#include "database/ConnectionString.h"
#include "database/odbc/OdbcTarget.h"

/// The best driver installed for a SQL Server: the vendor's, else FreeTDS. Throws DatabaseFault (Refused) when there is
/// none.
[[nodiscard]] QString sqlServerDriver(const QStringList &drivers);

/// The connection that ODBC keys ask for. The keys go to the driver as they are; a driver that is not
/// installed is replaced by one of the same family ("SQL Server" by FreeTDS, "MySQL ODBC 5.1 Driver" by
/// MariaDB's). The key Dialect is ours. Throws DatabaseFault (Refused) when there is none either.
[[nodiscard]] OdbcTarget odbcTarget(const QList<ConnectionString::Entry> &entries,
                                    const DatabaseLimits &limits, const OdbcInstallation &installation);
