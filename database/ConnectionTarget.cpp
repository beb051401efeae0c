#include "database/ConnectionTarget.h"

#include "database/ConnectionString.h"
#include "database/OdbcConnectionText.h"

#include <QHash>
#include <QStringList>
#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

using Keys = ConnectionString::Keys;

constexpr Keys hostKeys = {"data source"_L1, "server"_L1, "host"_L1,           "hostname"_L1,
                           "address"_L1,     "addr"_L1,   "network address"_L1};
constexpr Keys databaseKeys = {"initial catalog"_L1, "database"_L1, "dbname"_L1, "db"_L1};
constexpr Keys userKeys = {"user id"_L1, "uid"_L1, "user"_L1, "username"_L1, "user name"_L1};
constexpr Keys passwordKeys = {"password"_L1, "pwd"_L1};
constexpr Keys integratedKeys = {"integrated security"_L1, "trusted_connection"_L1};
constexpr Keys connectLimitKeys = {"connect timeout"_L1, "connection timeout"_L1, "timeout"_L1};
constexpr Keys statementLimitKeys = {"command timeout"_L1, "general timeout"_L1};
constexpr Keys encryptKeys = {"use encryption for data"_L1, "encrypt"_L1};
constexpr Keys trustKeys = {"trust server certificate"_L1, "trustservercertificate"_L1};
constexpr Keys authorityKeys = {"sslrootcert"_L1, "sslca"_L1, "ssl-ca"_L1};

/// Whatever an old string asks for, the window is not blocked for longer.
constexpr std::chrono::seconds longestLimit{30};

/// Keys that old installations carry and that change nothing here.
bool isHarmless(const QString &key)
{
    static const QStringList keys =
        u"persist security info|persistsecurityinfo|packet size|workstation id|wsid|"
        "use procedure for prepare|auto translate|tag with column collation when possible|"
        "application name|app|network library|network|net|current language|language|"
        "initial file name|locale identifier|prompt|mode|cache authentication|"
        "encrypt password|mask password|impersonation level|protection level|ole db services|"
        "oledb services|asynchronous processing|failover partner|mars connection|"
        "multipleactiveresultsets|datatypecompatibility|"
        "replication server name connect option|window handle|use ftmtonly|"
        "connect retry count|connect retry interval|enlist|pooling|min pool size|"
        "max pool size|application intent|applicationintent|multisubnetfailover|server spn|"
        "charset|extended properties|option|lcid"_s.split(u'|');
    return keys.contains(key.simplified().toLower());
}

void refuseUnknownKeys(const ConnectionString &settings, std::initializer_list<Keys> known)
{
    for (const auto &entry : settings.entries()) {
        const bool isKnown =
            isOneOf(entry.key, {"provider"_L1}) || isHarmless(entry.key) ||
            std::any_of(known.begin(), known.end(), [&entry](Keys keys) { return isOneOf(entry.key, keys); });
        if (!isKnown)
            throw refusedString(u"不认识数据库连接字符串中的“%1”"_s.arg(entry.key));
    }
}

QString required(const ConnectionString &settings, Keys keys, const QString &shownKey)
{
    QString value = settings.value(keys);
    if (value.isEmpty())
        throw refusedString(u"数据库连接字符串缺少“%1”"_s.arg(shownKey));
    return value;
}

void refuseIntegratedSecurity(const ConnectionString &settings)
{
    if (isYes(settings.value(integratedKeys)))
        throw refusedString(
            u"数据库连接字符串要求 Windows 集成身份验证（Integrated Security），本机无法使用，"
            "请改为填写“User ID”和“Password”"_s);
}

std::chrono::seconds limit(const ConnectionString &settings, Keys keys, std::chrono::seconds usual)
{
    for (const QLatin1String key : keys) {
        if (!settings.contains(key))
            continue;
        bool isNumber = false;
        const int seconds = settings.value({key}).toInt(&isNumber);
        if (!isNumber || seconds < 0)
            throw refusedString(u"数据库连接字符串中“%1”不是有效的秒数"_s.arg(key));
        // 0 means "for ever" in the old strings.
        if (seconds > 0)
            return std::min(std::chrono::seconds(seconds), longestLimit);
    }
    return usual;
}

DatabaseLimits limits(const ConnectionString &settings)
{
    const DatabaseLimits usual;
    return {limit(settings, connectLimitKeys, usual.connect),
            limit(settings, statementLimitKeys, usual.statement)};
}

int portNumber(const QString &text, const QString &key)
{
    bool isNumber = false;
    const int port = text.trimmed().toInt(&isNumber);
    if (!isNumber || port < 1 || port > 65535)
        throw refusedString(u"数据库连接字符串中“%1”的端口号无效"_s.arg(key));
    return port;
}

struct HostAndPort {
    QString host;
    int port = 0;
};

/// "host", "host,port", "host:port", "[v6 address]:port"; the port key wins.
HostAndPort hostAndPort(const ConnectionString &settings)
{
    const QString key = u"Data Source"_s;
    HostAndPort result{required(settings, hostKeys, key), 0};
    QString &host = result.host;
    const auto splitAt = [&result, &key](qsizetype at) {
        result.port = portNumber(result.host.mid(at + 1), key);
        result.host = result.host.left(at).trimmed();
    };
    if (host.startsWith("tcp:"_L1, Qt::CaseInsensitive))
        host.remove(0, 4);
    if (const qsizetype comma = host.indexOf(u','); comma >= 0)
        splitAt(comma);
    else if (const qsizetype bracket = host.indexOf("]:"_L1); bracket >= 0)
        splitAt(bracket + 1);
    else if (host.count(u':') == 1)
        splitAt(host.indexOf(u':'));
    if (host.startsWith(u'[') && host.endsWith(u']'))
        host = host.mid(1, host.size() - 2);
    // This machine, alone or in front of an instance's name.
    const QString machine = host.section(u'\\', 0, 0);
    if (machine.isEmpty() || machine == "."_L1 || machine.compare("(local)"_L1, Qt::CaseInsensitive) == 0)
        host.replace(0, machine.size(), u"127.0.0.1"_s);
    if (const QString port = settings.value({"port"_L1}); !port.isEmpty())
        result.port = portNumber(port, u"Port"_s);
    return result;
}

EmbeddedTarget embedded(const ConnectionString &settings)
{
    static constexpr Keys fileKeys = {"data source"_L1, "database"_L1};
    refuseUnknownKeys(settings, {fileKeys, connectLimitKeys, statementLimitKeys});
    return {required(settings, fileKeys, u"Data Source"_s)};
}

/// PostgreSQL's name of the mode, by whichever system's name it is asked for.
QString sslMode(const QString &asked)
{
    static const QHash<QString, QString> modes = {{u""_s, u""_s},
                                                  {u"none"_s, u"disable"_s},
                                                  {u"disable"_s, u"disable"_s},
                                                  {u"disabled"_s, u"disable"_s},
                                                  {u"allow"_s, u"allow"_s},
                                                  {u"prefer"_s, u"prefer"_s},
                                                  {u"preferred"_s, u"prefer"_s},
                                                  {u"require"_s, u"require"_s},
                                                  {u"required"_s, u"require"_s},
                                                  {u"verifyca"_s, u"verify-ca"_s},
                                                  {u"verifyfull"_s, u"verify-full"_s},
                                                  {u"verifyidentity"_s, u"verify-full"_s}};
    const auto mode = modes.constFind(asked.toLower().remove(u'-').remove(u'_'));
    if (mode == modes.cend())
        throw refusedString(u"数据库连接字符串中“SslMode”的值不受支持"_s);
    return *mode;
}

ServerTarget server(const ConnectionString &settings, ServerTarget::Kind kind)
{
    static constexpr Keys modeKeys = {"sslmode"_L1, "ssl mode"_L1};
    static constexpr Keys ownKeys = {"port"_L1};
    refuseUnknownKeys(settings, {hostKeys, databaseKeys, userKeys, passwordKeys, integratedKeys,
                                 connectLimitKeys, statementLimitKeys, ownKeys, modeKeys, authorityKeys});
    refuseIntegratedSecurity(settings);
    ServerTarget target;
    target.kind = kind;
    const HostAndPort address = hostAndPort(settings);
    target.host = address.host;
    target.port = address.port;
    target.database = required(settings, databaseKeys, u"Initial Catalog"_s);
    target.user = settings.value(userKeys);
    target.password = settings.value(passwordKeys);
    target.sslMode = sslMode(settings.value(modeKeys));
    target.certificateAuthority = settings.value(authorityKeys);
    target.limits = limits(settings);
    return target;
}

OdbcTarget sqlServer(const ConnectionString &settings, const OdbcInstallation &installation)
{
    static constexpr Keys ownKeys = {"port"_L1};
    refuseUnknownKeys(settings, {hostKeys, databaseKeys, userKeys, passwordKeys, integratedKeys, encryptKeys,
                                 trustKeys, connectLimitKeys, statementLimitKeys, ownKeys});
    refuseIntegratedSecurity(settings);
    if (settings.value(hostKeys).startsWith("np:"_L1, Qt::CaseInsensitive) ||
        settings.value(hostKeys).startsWith(R"(\\)"_L1))
        throw refusedString(u"数据库连接字符串中“Data Source”是命名管道，本机无法使用，请改为主机名或地址"_s);
    const auto [host, port] = hostAndPort(settings);
    const QString driver = sqlServerDriver(installation.drivers);
    QList<ConnectionString::Entry> entries{{u"DRIVER"_s, driver}};
    if (odbcFamily(driver) == OdbcFamily::FreeTds) {
        entries += {u"SERVER"_s, host};
        if (port > 0 || !host.contains(u'\\'))
            entries += {u"PORT"_s, QString::number(port > 0 ? port : 1433)};
    } else {
        // A port makes the instance's name meaningless, and the driver refuses the two together.
        entries += {u"SERVER"_s, port > 0 ? host.section(u'\\', 0, 0) + u',' + QString::number(port) : host};
    }
    // The newest driver encrypts unless told not to, which old servers cannot. Without encryption there is no
    // certificate to verify, but for the password's own.
    const QString encrypt = settings.value(encryptKeys);
    const bool isVerified = isYes(encrypt) && !isYes(settings.value(trustKeys));
    entries += {u"Encrypt"_s, isOneOf(encrypt, {"strict"_L1}) ? u"strict"_s
                              : isYes(encrypt)                ? u"yes"_s
                                                              : u"no"_s};
    entries += {u"TrustServerCertificate"_s, isVerified ? u"no"_s : u"yes"_s};
    if (const QString database = settings.value(databaseKeys); !database.isEmpty())
        entries += {u"DATABASE"_s, database};
    entries += {u"UID"_s, required(settings, userKeys, u"User ID"_s)};
    entries += {u"PWD"_s, settings.value(passwordKeys)};
    OdbcTarget target = odbcTarget(entries, limits(settings), installation);
    target.dialect = target.family;
    return target;
}

/// OLE DB's bridge to ODBC: the ODBC keys are beside the OLE DB ones or inside Extended Properties.
OdbcTarget odbcBridge(const ConnectionString &settings, const OdbcInstallation &installation)
{
    static constexpr Keys translated = {
        "provider"_L1, "extended properties"_L1, "data source"_L1, "user id"_L1,
        "password"_L1, "initial catalog"_L1,     "user name"_L1};
    QList<ConnectionString::Entry> entries;
    if (const QString inner = settings.value({"extended properties"_L1}); !inner.isEmpty())
        entries = ConnectionString(inner).entries();
    const auto add = [&entries](const QString &key, const QString &value) {
        if (!value.isEmpty())
            entries += {key, value};
    };
    add(u"DSN"_s, settings.value({"data source"_L1}));
    add(u"DATABASE"_s, settings.value({"initial catalog"_L1}));
    add(u"UID"_s, settings.value({"user id"_L1, "user name"_L1}));
    add(u"PWD"_s, settings.value({"password"_L1}));
    for (const auto &entry : settings.entries()) {
        if (!isOneOf(entry.key, translated) && !isHarmless(entry.key))
            entries += entry;
    }
    return odbcTarget(entries, limits(settings), installation);
}

} // namespace

ConnectionTarget connectionTarget(const QString &connectionString, const OdbcInstallation &installation)
{
    const ConnectionString settings(connectionString);
    if (settings.isEmpty())
        throw refusedString(u"没有配置数据库连接字符串"_s);
    QString provider = settings.value({"provider"_L1});
    if (provider.endsWith(".1"_L1)) // its version
        provider.chop(2);
    if (provider.isEmpty()) {
        if (settings.contains("driver"_L1) || settings.contains("dsn"_L1) || settings.contains("filedsn"_L1))
            return odbcTarget(settings.entries(), limits(settings), installation);
        throw refusedString(u"数据库连接字符串缺少“Provider”（或“DRIVER”、“DSN”）"_s);
    }
    if (isOneOf(provider, {"SQLite"_L1}))
        return embedded(settings);
    if (isOneOf(provider, {"PostgreSQL"_L1, "Postgres"_L1}))
        return server(settings, ServerTarget::Kind::PostgreSql);
    if (isOneOf(provider, {"MariaDB"_L1, "MySQL"_L1}))
        return server(settings, ServerTarget::Kind::MariaDb);
    if (isOneOf(provider, {"SQLOLEDB"_L1, "SQLNCLI"_L1, "SQLNCLI10"_L1, "SQLNCLI11"_L1, "MSOLEDBSQL"_L1,
                           "MSOLEDBSQL19"_L1}))
        return sqlServer(settings, installation);
    if (isOneOf(provider, {"MSDASQL"_L1}))
        return odbcBridge(settings, installation);
    throw refusedString(u"不支持数据库连接字符串中的 Provider“%1”"_s.arg(provider));
}
