#pragma once

#include "database/driver/DatabaseLimits.h"

#include <QString>

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
