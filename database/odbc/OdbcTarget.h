#pragma once

#include "database/driver/DatabaseLimits.h"
#include "database/odbc/OdbcInstallation.h"

#include <optional>

/// A database behind an ODBC driver.
struct OdbcTarget {
    QString text; ///< for SQLDriverConnect; holds the password
    OdbcFamily family = OdbcFamily::Other;
    DatabaseLimits limits;
    /// Whose SQL the database takes; none: that of the system it says it is.
    std::optional<OdbcFamily> dialect = {};
    bool mustBeEncrypted = false; ///< a session in clear is not used
    /// FreeTDS is to verify the server's certificate, which no key of its connection text asks for.
    bool freeTdsVerifies = false;
};
