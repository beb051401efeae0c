#include "platform/database/DriverFactory.h"

#include "platform/database/ConnectionString.h"
#include "platform/database/DatabaseFault.h"
#include "platform/database/SqliteDriver.h"

using namespace Qt::StringLiterals;

namespace
{

DatabaseFault refused(const QString &what)
{
    return {DatabaseFault::Kind::Refused, what};
}

} // namespace

std::unique_ptr<Driver> makeDriver(const QString &connectionString)
{
    const ConnectionString settings(connectionString);
    if (settings.isEmpty())
        throw refused(u"没有配置数据库连接字符串"_s);
    const QString provider = settings.value({"provider"_L1});
    if (provider.compare("SQLite"_L1, Qt::CaseInsensitive) == 0) {
        const QString file = settings.value({"data source"_L1});
        if (file.isEmpty())
            throw refused(u"数据库连接字符串缺少“Data Source”"_s);
        return std::make_unique<SqliteDriver>(file);
    }
    if (provider.isEmpty())
        throw refused(u"数据库连接字符串缺少“Provider”"_s);
    throw refused(u"不支持数据库连接字符串中的 Provider“%1”"_s.arg(provider));
}
