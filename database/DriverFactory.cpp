#include "database/DriverFactory.h"

#include "database/ConnectionTarget.h"
#include "database/native/ClearPasswords.h"
#include "database/native/MariaDbDriver.h"
#include "database/native/PostgreSqlDriver.h"
#include "database/native/SqliteDriver.h"
#include "database/odbc/OdbcDriver.h"

namespace
{

struct DriverMaker {
    std::unique_ptr<Driver> operator()(const EmbeddedTarget &target) const
    {
        return std::make_unique<SqliteDriver>(target.file);
    }
    std::unique_ptr<Driver> operator()(const ServerTarget &target) const
    {
        if (target.kind == ServerTarget::Kind::PostgreSql)
            return std::make_unique<PostgreSqlDriver>(target);
        return std::make_unique<MariaDbDriver>(target);
    }
    std::unique_ptr<Driver> operator()(const OdbcTarget &target) const
    {
        // MariaDB's ODBC driver stands on the same client library.
        if (target.family == OdbcFamily::MariaDb)
            refuseClearPasswords();
        return std::make_unique<OdbcDriver>(target);
    }
};

} // namespace

std::unique_ptr<Driver> makeDriver(const QString &connectionString)
{
    return std::visit(DriverMaker{}, connectionTarget(connectionString, OdbcInstallation::ofThisMachine()));
}
