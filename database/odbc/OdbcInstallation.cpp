#include "database/odbc/OdbcInstallation.h"

#include <array>
#include <odbcinst.h>
#include <sql.h>
#include <sqlext.h>

using namespace Qt::StringLiterals;

OdbcFamily odbcFamily(const QString &driver)
{
    const QString name = driver.toLower();
    if (name.contains("postgres"_L1) || name.contains("psqlodbc"_L1))
        return OdbcFamily::PostgreSql;
    if (name.contains("maria"_L1) || name.contains("mysql"_L1) || name.contains("maodbc"_L1) ||
        name.contains("myodbc"_L1))
        return OdbcFamily::MariaDb;
    if (name.contains("freetds"_L1) || name.contains("tdsodbc"_L1))
        return OdbcFamily::FreeTds;
    if (name.contains("sql server"_L1) || name.contains("sql native client"_L1) || name.contains("msodbc"_L1))
        return OdbcFamily::MicrosoftSqlServer;
    return OdbcFamily::Other;
}

OdbcInstallation OdbcInstallation::ofThisMachine()
{
    OdbcInstallation installation;
    SQLHENV environment = nullptr;
    SQLAllocHandle(SQL_HANDLE_ENV, nullptr, &environment);
    SQLSetEnvAttr(environment, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0);
    std::array<SQLCHAR, 256> name{};
    SQLSMALLINT length = 0;
    SQLUSMALLINT direction = SQL_FETCH_FIRST;
    while (SQL_SUCCEEDED(
        SQLDrivers(environment, direction, name.data(), name.size(), &length, nullptr, 0, nullptr))) {
        installation.drivers += QString::fromLocal8Bit(reinterpret_cast<const char *>(name.data()));
        direction = SQL_FETCH_NEXT;
    }
    SQLFreeHandle(SQL_HANDLE_ENV, environment);
    installation.driverOfDataSource = [](const QString &dataSource) {
        std::array<char, 512> driver{};
        SQLGetPrivateProfileString(dataSource.toLocal8Bit().constData(), "Driver", "", driver.data(),
                                   static_cast<int>(driver.size()), "odbc.ini");
        return QString::fromLocal8Bit(driver.data());
    };
    return installation;
}
