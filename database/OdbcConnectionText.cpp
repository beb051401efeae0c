#include "database/OdbcConnectionText.h"

#include <algorithm>
#include <optional>

using namespace Qt::StringLiterals;

namespace
{

/// MariaDB's option for row counts of what an UPDATE found, whether or not it had the value before.
constexpr uint mariaDbFoundRows = 2;

/// A value as ODBC wants it: in braces when it holds a character that means something.
QString quoted(QString value)
{
    constexpr QLatin1String special("[]{}(),;?*=!@%+'\"");
    const bool isPlain =
        std::none_of(value.cbegin(), value.cend(), [&special](QChar c) { return special.contains(c); }) &&
        value == value.trimmed();
    return isPlain ? value : u'{' + value.replace(u'}', "}}"_L1) + u'}';
}

OdbcFamily namedDialect(const QString &name)
{
    if (isOneOf(name, {"PostgreSQL"_L1, "Postgres"_L1}))
        return OdbcFamily::PostgreSql;
    if (isOneOf(name, {"MySQL"_L1, "MariaDB"_L1}))
        return OdbcFamily::MariaDb;
    if (isOneOf(name, {"SQLServer"_L1, "SQL Server"_L1}))
        return OdbcFamily::MicrosoftSqlServer;
    if (isOneOf(name, {"Standard"_L1}))
        return OdbcFamily::Other;
    throw refusedString(
        u"数据库连接字符串中“Dialect”的值“%1”不受支持，可用 PostgreSQL、MySQL、SQLServer 或 Standard"_s.arg(
            name));
}

/// Named, or FreeTDS tries one version after the other, each with the whole time limit. An older server
/// answers with its own.
constexpr QLatin1String tdsVersion("7.4");

/// An installed driver of this family. Of the vendor's several versions the last by name.
QString installedDriver(OdbcFamily family, const QStringList &drivers)
{
    QString best;
    for (const QString &driver : drivers) {
        if (odbcFamily(driver) != family || driver.contains("ansi"_L1, Qt::CaseInsensitive))
            continue;
        if (best.isEmpty() || best < driver)
            best = driver;
    }
    return best;
}

QString substitute(OdbcFamily family, const QStringList &drivers)
{
    QString driver = installedDriver(family, drivers);
    if (!driver.isEmpty())
        return driver;
    if (family == OdbcFamily::MicrosoftSqlServer)
        return installedDriver(OdbcFamily::FreeTds, drivers);
    if (family == OdbcFamily::FreeTds)
        return installedDriver(OdbcFamily::MicrosoftSqlServer, drivers);
    return {};
}

QString usableDriver(const QString &wanted, const QStringList &drivers)
{
    for (const QString &driver : drivers) {
        if (driver.compare(wanted, Qt::CaseInsensitive) == 0)
            return driver;
    }
    if (wanted.contains(u'/')) // a driver's file
        return wanted;
    const OdbcFamily family = odbcFamily(wanted);
    QString driver = family == OdbcFamily::Other ? QString() : substitute(family, drivers);
    if (driver.isEmpty())
        throw refusedString(u"没有安装数据库连接字符串中“DRIVER”指定的 ODBC 驱动程序“%1”"_s.arg(wanted));
    return driver;
}

/// The keys of a connection string, gathered for the driver.
class OdbcKeys
{
public:
    explicit OdbcKeys(const OdbcInstallation &installation) : m_installation(installation) {}

    void take(const ConnectionString::Entry &entry)
    {
        if (const auto value = passedOn(entry.key, entry.value))
            m_entries += {entry.key, *value};
    }

    [[nodiscard]] OdbcTarget target(const DatabaseLimits &limits)
    {
        if (m_wantsIntegrated && m_family != OdbcFamily::MicrosoftSqlServer)
            throw refusedString(
                u"数据库连接字符串要求 Windows 集成身份验证（Trusted_Connection），所用的 ODBC "
                "驱动程序无法使用，请改为填写“UID”和“PWD”"_s);
        const bool hasServerName = contains("servername"_L1);
        if (m_family == OdbcFamily::MariaDb) {
            // This driver has no limit of its own and ignores ODBC's.
            addUnlessPresent("CONN_TIMEOUT"_L1, QString::number(limits.connect.count()));
            // Otherwise the machine's locale decides in which form texts reach the server.
            addUnlessPresent("CHARSET"_L1, u"utf8mb4"_s);
            addUnlessPresent("OPTION"_L1, QString::number(mariaDbFoundRows));
        } else if (m_family == OdbcFamily::PostgreSql) {
            // Debian switches a communication log on, which holds every text in clear.
            addUnlessPresent("CommLog"_L1, u"0"_s);
            addUnlessPresent("Debug"_L1, u"0"_s);
            // Our savepoints are enough; the driver would set one a statement.
            addUnlessPresent("Protocol"_L1, u"7.4-0"_s);
        } else if (m_family == OdbcFamily::FreeTds && contains("driver"_L1) && !hasServerName) {
            addUnlessPresent("TDS_Version"_L1, tdsVersion);
        }
        const bool isEncrypted = isYes(m_encrypt);
        if (isOneOf(m_encrypt, {"strict"_L1}))
            throw refusedString(u"FreeTDS 不支持“Encrypt=Strict”，请安装 ODBC Driver for SQL Server"_s);
        if (isEncrypted)
            m_entries += {u"Encryption"_s, u"require"_s};
        // A server by the name of its section has the section say how it is verified.
        return {text(),    m_family,      limits,
                m_dialect, m_isTlsForced, isEncrypted && !isYes(m_trust) && !hasServerName};
    }

private:
    /// What the driver is given for a key; nothing for one that is ours.
    std::optional<QString> passedOn(const QString &key, const QString &value)
    {
        // FreeTDS would read over its own two.
        const bool isFreeTds = m_family == OdbcFamily::FreeTds;
        if (isFreeTds && isOneOf(key, {"encrypt"_L1})) {
            m_encrypt = value;
            return std::nullopt;
        }
        if (isFreeTds && isOneOf(key, {"trustservercertificate"_L1})) {
            m_trust = value;
            return std::nullopt;
        }
        if (isOneOf(key, {"connect timeout"_L1, "connection timeout"_L1, "command timeout"_L1, "timeout"_L1,
                          "general timeout"_L1}))
            return std::nullopt; // see limits
        if (isOneOf(key, {"dialect"_L1})) {
            m_dialect = namedDialect(value);
            return std::nullopt;
        }
        if (isOneOf(key, {"driver"_L1})) {
            const QString driver = usableDriver(value, m_installation.drivers);
            m_family = odbcFamily(driver);
            return driver;
        }
        if (isOneOf(key, {"dsn"_L1}))
            m_family = odbcFamily(m_installation.driverOfDataSource(value));
        else if (isOneOf(key, {"trusted_connection"_L1, "integrated security"_L1}))
            m_wantsIntegrated = isYes(value);
        else if (isOneOf(key, {"forcetls"_L1}))
            m_isTlsForced = isYes(value);
        else if (m_family == OdbcFamily::MariaDb && isOneOf(key, {"option"_L1}))
            return QString::number(value.toUInt() | mariaDbFoundRows);
        return value;
    }

    [[nodiscard]] bool contains(QLatin1String key) const
    {
        return std::any_of(m_entries.cbegin(), m_entries.cend(),
                           [key](const auto &entry) { return isOneOf(entry.key, {key}); });
    }
    void addUnlessPresent(QLatin1String key, const QString &value)
    {
        if (!contains(key))
            m_entries += {key, value};
    }
    /// Without a semicolon at the end: MariaDB's driver calls that a mistake.
    [[nodiscard]] QString text() const
    {
        QStringList parts;
        for (const auto &entry : m_entries)
            parts += entry.key + u'=' + quoted(entry.value);
        return parts.join(u';');
    }

    const OdbcInstallation &m_installation;
    QList<ConnectionString::Entry> m_entries;
    OdbcFamily m_family = OdbcFamily::Other;
    std::optional<OdbcFamily> m_dialect;
    bool m_wantsIntegrated = false;
    bool m_isTlsForced = false;
    QString m_encrypt;
    QString m_trust;
};

} // namespace

QString sqlServerDriver(const QStringList &drivers)
{
    QString driver = substitute(OdbcFamily::MicrosoftSqlServer, drivers);
    if (driver.isEmpty())
        throw refusedString(
            u"没有安装 SQL Server 的 ODBC 驱动程序，请安装 FreeTDS（tdsodbc）或 ODBC Driver for SQL Server"_s);
    return driver;
}

OdbcTarget odbcTarget(const QList<ConnectionString::Entry> &entries, const DatabaseLimits &limits,
                      const OdbcInstallation &installation)
{
    OdbcKeys keys(installation);
    for (const auto &entry : entries)
        keys.take(entry);
    return keys.target(limits);
}
