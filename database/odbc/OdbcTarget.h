#pragma once

#include "database/driver/DatabaseLimits.h"
#include "database/odbc/OdbcInstallation.h"

/// How SQL is written for a database behind an ODBC driver.
enum class OdbcDialect { AsRecognised, PostgreSql, MariaDb, SqlServer, Standard };

/// A database behind an ODBC driver.
struct OdbcTarget {
    QString text; ///< for SQLDriverConnect; holds the password
    OdbcFamily family = OdbcFamily::Other;
    DatabaseLimits limits;
    OdbcDialect dialect = OdbcDialect::AsRecognised;
    bool mustBeEncrypted = false; ///< a session in clear is not used
    /// FreeTDS is to verify the server's certificate, which no key of its connection text asks for.
    bool freeTdsVerifies = false;
};
