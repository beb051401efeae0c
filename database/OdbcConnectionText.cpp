#include "database/OdbcConnectionText.h"

#include "database/driver/DatabaseFault.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

/// MariaDB's option for row counts of what an UPDATE found, whether or not it had the value before.
constexpr uint mariaDbFoundRows = 2;

DatabaseFault refused(const QString &what)
{
    return {DatabaseFault::Kind::Refused, what};
}

bool isKey(const QString &key, std::initializer_list<QLatin1String> names)
{
    return std::any_of(names.begin(), names.end(),
                       [&key](QLatin1String name) { return key.compare(name, Qt::CaseInsensitive) == 0; });
}

/// A value as ODBC wants it: in braces when it holds a character that means something.
QString quoted(QString value)
{
    constexpr QLatin1String special("[]{}(),;?*=!@%+'\"");
    const bool isPlain =
        std::none_of(value.cbegin(), value.cend(), [&special](QChar c) { return special.contains(c); }) &&
        value == value.trimmed();
    return isPlain ? value : u'{' + value.replace(u'}', "}}"_L1) + u'}';
}

class TextBuilder
{
public:
    void add(QLatin1String key, const QString &value) { add(QString(key), value); }
    void add(const QString &key, const QString &value) { m_parts += key + u'=' + quoted(value); }
    /// Without a semicolon at the end: MariaDB's driver calls that a mistake.
    [[nodiscard]] QString text() const { return m_parts.join(u';'); }

private:
    QStringList m_parts;
};

bool isYes(const QString &value)
{
    return !value.isEmpty() && !isKey(value, {"no"_L1, "false"_L1, "0"_L1, "optional"_L1});
}

OdbcDialect namedDialect(const QString &name)
{
    if (isKey(name, {"PostgreSQL"_L1, "Postgres"_L1}))
        return OdbcDialect::PostgreSql;
    if (isKey(name, {"MySQL"_L1, "MariaDB"_L1}))
        return OdbcDialect::MariaDb;
    if (isKey(name, {"SQLServer"_L1, "SQL Server"_L1}))
        return OdbcDialect::SqlServer;
    if (isKey(name, {"Standard"_L1}))
        return OdbcDialect::Standard;
    throw refused(
        u"数据库连接字符串中“Dialect”的值“%1”不受支持，可用 PostgreSQL、MySQL、SQLServer 或 Standard"_s.arg(
            name));
}

/// Named, or FreeTDS tries one version after the other, each with the whole time limit. An older server
/// answers with its own.
QString tdsVersion()
{
    return u"7.4"_s;
}

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
        throw refused(u"没有安装数据库连接字符串中“DRIVER”指定的 ODBC 驱动程序“%1”"_s.arg(wanted));
    return driver;
}

bool isVerified(const SqlServerEncryption &encryption)
{
    return encryption.mode != SqlServerEncryption::Mode::Off && encryption.verifies;
}

void addFreeTdsEncryption(const SqlServerEncryption &encryption, TextBuilder &builder)
{
    if (encryption.mode == SqlServerEncryption::Mode::Strict)
        throw refused(u"FreeTDS 不支持“Encrypt=Strict”，请安装 ODBC Driver for SQL Server"_s);
    if (encryption.mode == SqlServerEncryption::Mode::On)
        builder.add("Encryption"_L1, u"require"_s);
}

} // namespace

SqlServerEncryption encryptionOf(const QString &encrypt, const QString &trust)
{
    using Mode = SqlServerEncryption::Mode;
    const bool isStrict = isKey(encrypt, {"strict"_L1});
    return {isStrict ? Mode::Strict : isYes(encrypt) ? Mode::On : Mode::Off, !isYes(trust)};
}

OdbcTarget sqlServerOdbcTarget(const SqlServerAddress &address, const DatabaseLimits &limits,
                               const OdbcInstallation &installation)
{
    const QString driver = substitute(OdbcFamily::MicrosoftSqlServer, installation.drivers);
    if (driver.isEmpty())
        throw refused(
            u"没有安装 SQL Server 的 ODBC 驱动程序，请安装 FreeTDS（tdsodbc）或 ODBC Driver for SQL Server"_s);
    const OdbcFamily family = odbcFamily(driver);
    const bool hasInstance = address.host.contains(u'\\');
    TextBuilder builder;
    builder.add("DRIVER"_L1, driver);
    if (family == OdbcFamily::FreeTds) {
        builder.add("SERVER"_L1, address.host);
        if (address.port > 0 || !hasInstance)
            builder.add("PORT"_L1, QString::number(address.port > 0 ? address.port : 1433));
        builder.add("TDS_Version"_L1, tdsVersion());
        addFreeTdsEncryption(address.encryption, builder);
    } else {
        // A port makes the instance's name meaningless, and the driver refuses the two together.
        const QString host = address.port > 0 ? address.host.section(u'\\', 0, 0) : address.host;
        builder.add("SERVER"_L1, address.port > 0 ? host + u',' + QString::number(address.port) : host);
        // The newest driver encrypts unless told not to, which old servers cannot.
        using Mode = SqlServerEncryption::Mode;
        const Mode mode = address.encryption.mode;
        builder.add("Encrypt"_L1, mode == Mode::Off ? u"no"_s : mode == Mode::On ? u"yes"_s : u"strict"_s);
        // Without encryption there is none to verify, but for the password's own.
        const bool verifies = mode != Mode::Off && address.encryption.verifies;
        builder.add("TrustServerCertificate"_L1, verifies ? u"no"_s : u"yes"_s);
    }
    if (!address.database.isEmpty())
        builder.add("DATABASE"_L1, address.database);
    builder.add("UID"_L1, address.user);
    builder.add("PWD"_L1, address.password);
    OdbcTarget target{builder.text(), family, limits};
    target.dialect = OdbcDialect::SqlServer;
    target.freeTdsVerifies = family == OdbcFamily::FreeTds && isVerified(address.encryption);
    return target;
}

OdbcTarget encryptedMariaDbTarget(const ServerTarget &target, const OdbcInstallation &installation)
{
    const QString driver = installedDriver(OdbcFamily::MariaDb, installation.drivers);
    if (driver.isEmpty())
        throw refused(u"加密的 MariaDB 或 MySQL 连接需要 ODBC 驱动程序，请安装 odbc-mariadb"_s);
    QList<ConnectionString::Entry> entries{{u"DRIVER"_s, driver}};
    const auto add = [&entries](const QString &key, const QString &value) {
        if (!value.isEmpty())
            entries += {key, value};
    };
    add(target.host.startsWith(u'/') ? u"SOCKET"_s : u"SERVER"_s, target.host);
    add(u"PORT"_s, target.port > 0 ? QString::number(target.port) : QString());
    add(u"DATABASE"_s, target.database);
    add(u"UID"_s, target.user);
    add(u"PWD"_s, target.password);
    add(u"FORCETLS"_s, u"1"_s);
    add(u"SSLVERIFY"_s, target.sslMode == "require"_L1 ? QString() : u"1"_s);
    add(u"SSLCA"_s, target.certificateAuthority);
    OdbcTarget encrypted = odbcTarget(entries, target.limits, installation);
    encrypted.dialect = OdbcDialect::MariaDb;
    return encrypted;
}

OdbcTarget odbcTarget(const QList<ConnectionString::Entry> &entries, const DatabaseLimits &limits,
                      const OdbcInstallation &installation)
{
    OdbcFamily family = OdbcFamily::Other;
    bool wantsIntegrated = false;
    bool isTlsForced = false;
    QString encrypt;
    QString trust;
    OdbcDialect dialect = OdbcDialect::AsRecognised;
    TextBuilder builder;
    QStringList present;
    for (const auto &entry : entries) {
        QString value = entry.value;
        if (isKey(entry.key, {"driver"_L1})) {
            value = usableDriver(value, installation.drivers);
            family = odbcFamily(value);
        } else if (isKey(entry.key, {"dsn"_L1})) {
            family = odbcFamily(installation.driverOfDataSource(value));
        } else if (isKey(entry.key, {"trusted_connection"_L1, "integrated security"_L1})) {
            wantsIntegrated = !isKey(value, {"no"_L1, "false"_L1, "0"_L1, ""_L1});
        } else if (isKey(entry.key, {"option"_L1}) && family == OdbcFamily::MariaDb) {
            value = QString::number(value.toUInt() | mariaDbFoundRows);
        } else if (isKey(entry.key, {"connect timeout"_L1, "connection timeout"_L1, "command timeout"_L1,
                                     "timeout"_L1, "general timeout"_L1})) {
            continue; // ours: see limits
        } else if (isKey(entry.key, {"dialect"_L1})) {
            dialect = namedDialect(value);
            continue;
        } else if (isKey(entry.key, {"forcetls"_L1})) {
            isTlsForced = isYes(value);
        } else if (family == OdbcFamily::FreeTds && isKey(entry.key, {"encrypt"_L1})) {
            encrypt = value;
            continue; // FreeTDS would read over it
        } else if (family == OdbcFamily::FreeTds && isKey(entry.key, {"trustservercertificate"_L1})) {
            trust = value;
            continue;
        }
        builder.add(entry.key, value);
        present += entry.key.toLower();
    }
    if (wantsIntegrated && family != OdbcFamily::MicrosoftSqlServer)
        throw refused(
            u"数据库连接字符串要求 Windows 集成身份验证（Trusted_Connection），所用的 ODBC 驱动程序无法使用，"
            "请改为填写“UID”和“PWD”"_s);
    const auto addUnlessPresent = [&](QLatin1String key, const QString &value) {
        if (!present.contains(QString(key).toLower()))
            builder.add(key, value);
    };
    if (family == OdbcFamily::MariaDb) {
        // This driver has no limit of its own and ignores ODBC's.
        addUnlessPresent("CONN_TIMEOUT"_L1, QString::number(limits.connect.count()));
        // Otherwise the machine's locale decides in which form texts reach the server.
        addUnlessPresent("CHARSET"_L1, u"utf8mb4"_s);
        addUnlessPresent("OPTION"_L1, QString::number(mariaDbFoundRows));
    } else if (family == OdbcFamily::PostgreSql) {
        // Debian switches a communication log on, which holds every text in clear.
        addUnlessPresent("CommLog"_L1, u"0"_s);
        addUnlessPresent("Debug"_L1, u"0"_s);
    } else if (family == OdbcFamily::FreeTds && present.contains(u"driver"_s) &&
               !present.contains(u"servername"_s)) {
        addUnlessPresent("TDS_Version"_L1, tdsVersion());
    }
    const SqlServerEncryption encryption = encryptionOf(encrypt, trust);
    addFreeTdsEncryption(encryption, builder);
    // A server by the name of its section has the section say how it is verified.
    const bool freeTdsVerifies = isVerified(encryption) && !present.contains(u"servername"_s);
    return {builder.text(), family, limits, dialect, isTlsForced, freeTdsVerifies};
}
