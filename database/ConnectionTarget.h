#pragma once

#include "database/DatabaseLimits.h"
#include "database/OdbcInstallation.h"

#include <QString>
#include <variant>

/// A database file.
struct EmbeddedTarget {
    QString file;
};

/// A database server that is reached through its native driver.
struct ServerTarget {
    enum class Kind { PostgreSql, MariaDb };

    Kind kind = Kind::PostgreSql;
    QString host; ///< name, address or, beginning with "/", a local socket
    int port = 0; ///< 0: the system's usual one
    QString database;
    QString user;
    QString password;
    QString sslMode;              ///< PostgreSQL's sslmode; "" leaves it to the driver
    QString certificateAuthority; ///< file of those that may have signed the server's; "" the driver's own
    DatabaseLimits limits;
};

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

using ConnectionTarget = std::variant<EmbeddedTarget, ServerTarget, OdbcTarget>;

/// What a connection string of any style asks for. docs/connection-strings.md lists the styles and keys.
/// Throws DatabaseFault (Refused) for an unknown provider or key and for a missing one; the text names the
/// key at fault and never shows a password.
[[nodiscard]] ConnectionTarget connectionTarget(const QString &connectionString,
                                                const OdbcInstallation &installation);
