#pragma once

#include <QStringList>
#include <functional>

/// What kind of database an ODBC driver is made for, told by its name or file name.
enum class OdbcFamily { PostgreSql, MariaDb, FreeTds, MicrosoftSqlServer, Other };

[[nodiscard]] OdbcFamily odbcFamily(const QString &driver);

/// The ODBC drivers and data sources that are set up on a machine.
struct OdbcInstallation {
    QStringList drivers;
    /// The driver behind a data source name, "" when there is no such data source.
    std::function<QString(const QString &)> driverOfDataSource;

    [[nodiscard]] static OdbcInstallation ofThisMachine();
};
