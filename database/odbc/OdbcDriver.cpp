#include "database/odbc/OdbcDriver.h"

#include "database/dialects/SqlDialects.h"
#include "database/odbc/OdbcStatement.h"
#include "database/odbc/OpenSockets.h"

#include <QTemporaryFile>
#include <array>
#include <typeinfo>

using namespace Qt::StringLiterals;

namespace
{

SQLPOINTER attribute(qint64 value)
{
    return reinterpret_cast<SQLPOINTER>(value); // NOLINT(performance-no-int-to-ptr): ODBC's way
}

std::unique_ptr<SqlDialect> dialectOf(OdbcFamily family)
{
    switch (family) {
    case OdbcFamily::PostgreSql:
        return postgreSqlDialect();
    case OdbcFamily::MariaDb:
        return mariaDbDialect();
    case OdbcFamily::FreeTds:
    case OdbcFamily::MicrosoftSqlServer:
        return sqlServerDialect();
    case OdbcFamily::Other:
        break;
    }
    return std::make_unique<SqlDialect>();
}

/// FreeTDS verifies a certificate only where its settings file says so. While this lives it reads one that does, for
/// which the connection text leaves nothing else to say.
class VerifyingFreeTds
{
public:
    VerifyingFreeTds()
    {
        if (!m_settings.open() ||
            m_settings.write("[global]\nca file = system\ncheck certificate hostname = yes\n") < 0 ||
            !m_settings.flush())
            throw DatabaseFault(DatabaseFault::Kind::Lost,
                                u"无法写入临时文件："_s + m_settings.errorString());
        qputenv(variable, QFile::encodeName(m_settings.fileName()));
    }
    ~VerifyingFreeTds()
    {
        if (m_hadSettings)
            qputenv(variable, m_earlier);
        else
            qunsetenv(variable);
    }
    VerifyingFreeTds(const VerifyingFreeTds &) = delete;
    VerifyingFreeTds &operator=(const VerifyingFreeTds &) = delete;

private:
    static constexpr auto variable = "FREETDSCONF";

    const bool m_hadSettings = qEnvironmentVariableIsSet(variable);
    const QByteArray m_earlier = qgetenv(variable);
    QTemporaryFile m_settings;
};

} // namespace

OdbcDriver::OdbcDriver(OdbcTarget target)
    : ServerDriver(dialectOf(target.dialect.value_or(target.family)), target.limits),
      m_target(std::move(target)),
      m_environment(SQL_HANDLE_ENV, nullptr),
      m_connection(SQL_HANDLE_DBC, m_environment.get())
{
}

OdbcDriver::~OdbcDriver()
{
    forgetQuestions();
    if (m_isConnected) {
        SQLEndTran(SQL_HANDLE_DBC, m_connection.get(), SQL_ROLLBACK);
        SQLDisconnect(m_connection.get());
    }
}

void OdbcDriver::connect()
{
    if (m_connection.isNull())
        throw DatabaseFault(DatabaseFault::Kind::Lost, u"ODBC 驱动管理器不可用"_s);
    SQLSetConnectAttrW(m_connection.get(), SQL_ATTR_LOGIN_TIMEOUT, attribute(limits().connect.count()),
                       SQL_IS_UINTEGER);
    std::optional<VerifyingFreeTds> verifying;
    if (m_target.freeTdsVerifies)
        verifying.emplace();
    const OpenSockets before = OpenSockets::now();
    const SQLRETURN result = SQLDriverConnectW(m_connection.get(), nullptr, odbcText(m_target.text),
                                               static_cast<SQLSMALLINT>(m_target.text.size()), nullptr, 0,
                                               nullptr, SQL_DRIVER_NOPROMPT);
    if (!SQL_SUCCEEDED(result))
        throw unreachable(u"（ODBC）"_s, m_connection.diagnosis().text);
    m_isConnected = true;
    guard().setSockets(OpenSockets::now().since(before));
    if (!m_target.dialect)
        setDialect(dialectOf(odbcFamily(information(SQL_DBMS_NAME))));
}

QString OdbcDriver::serverVersion()
{
    return information(SQL_DBMS_NAME) + u' ' + information(SQL_DBMS_VER);
}

void OdbcDriver::checkSession()
{
    if (m_target.mustBeEncrypted && !dialect().traits().encryptionQuery.isEmpty()) {
        const auto limit = watch(0);
        const auto rows = plainRows(dialect().traits().encryptionQuery);
        if (rows.isEmpty() || rows[0][1].toString().isEmpty())
            throw DatabaseFault(DatabaseFault::Kind::Lost,
                                u"数据库服务器没有加密连接，而连接字符串要求加密"_s);
    }
    m_insertsReturn = !dialect().traits().returningInsertProbe.isEmpty() &&
                      plainValue(dialect().traits().returningInsertProbe).toInt() == 1;
    if (isKnownSystem())
        return;
    SystemTraits traits;
    begin();
    if (!takes(u"SAVEPOINT sms_try"_s))
        traits.savepoint = traits.rollbackTo = QString();
    if (!takes(u"RELEASE SAVEPOINT sms_try"_s))
        traits.release.clear();
    rollback();
    // A blank where there is none.
    const QString quote = information(SQL_IDENTIFIER_QUOTE_CHAR).trimmed();
    traits.quote = quote.isEmpty() ? QChar() : quote[0];
    setDialect(std::make_unique<SqlDialect>(traits));
}

bool OdbcDriver::isKnownSystem() const
{
    return typeid(dialect()) != typeid(SqlDialect);
}

void OdbcDriver::beginWriting()
{
    if (isKnownSystem())
        ServerDriver::beginWriting();
    else
        require(SQLSetConnectAttrW(m_connection.get(), SQL_ATTR_AUTOCOMMIT, attribute(SQL_AUTOCOMMIT_OFF),
                                   SQL_IS_UINTEGER),
                u"SQL_AUTOCOMMIT_OFF"_s);
}

void OdbcDriver::endWriting(bool isKept)
{
    if (isKnownSystem())
        return ServerDriver::endWriting(isKept);
    const auto limit = watch(0);
    require(SQLEndTran(SQL_HANDLE_DBC, m_connection.get(), isKept ? SQL_COMMIT : SQL_ROLLBACK),
            u"SQLEndTran"_s);
    require(SQLSetConnectAttrW(m_connection.get(), SQL_ATTR_AUTOCOMMIT, attribute(SQL_AUTOCOMMIT_ON),
                               SQL_IS_UINTEGER),
            u"SQL_AUTOCOMMIT_ON"_s);
}

/// Inside a transaction that is taken back.
bool OdbcDriver::takes(const QString &sql)
{
    try {
        runPlain(sql);
        return true;
    } catch (const DatabaseFault &fault) {
        if (fault.kind() == DatabaseFault::Kind::Lost)
            throw;
        return false;
    }
}

void OdbcDriver::require(SQLRETURN result, const QString &what) const
{
    if (!SQL_SUCCEEDED(result))
        throw faultOf(what, m_connection);
}

std::unique_ptr<ServerDriver> OdbcDriver::another() const
{
    return std::make_unique<OdbcDriver>(m_target);
}

std::unique_ptr<Statement> OdbcDriver::prepareLine(const QString &sql, const QString &spelled)
{
    return std::make_unique<OdbcStatement>(*this, sql, spelled);
}

QString OdbcDriver::identityInsert(const QString &insert, const QString &identityColumn) const
{
    return m_insertsReturn ? insert + " returning "_L1 + identityColumn
                           : Driver::identityInsert(insert, identityColumn);
}

void OdbcDriver::beforeIdentity(const QString &table, const QString &identityColumn)
{
    if (!dialect().traits().identityReset.isEmpty())
        runPlain(dialect().traits().identityReset);
    else if (dialect().traits().identityQuery.isEmpty())
        m_earlierIdentity = answer(u"select max(%2) from %1"_s.arg(table, identityColumn));
}

/// Where the system has no way of its own that we know: numbers grow, so a single row that has come since is
/// ours, which this transaction sees in any case. Of several nobody can tell which.
QVariant OdbcDriver::lastIdentity(const Statement &, const QString &table, const QString &identityColumn)
{
    if (!dialect().traits().identityQuery.isEmpty())
        return answer(dialect().traits().identityQuery);
    const QVariant earlier = m_earlierIdentity.isNull() ? QVariant(0) : m_earlierIdentity;
    const QString later = u" from %1 where %2>?"_s.arg(table, identityColumn);
    const int rows = answer("select count(*)"_L1 + later, {earlier}).toInt();
    if (rows > 1)
        throw DatabaseFault(DatabaseFault::Kind::Locked,
                            u"%1 中同时有他人写入，无法认出新记录的编号"_s.arg(table));
    return rows == 1 ? answer(u"select max(%1)"_s.arg(identityColumn) + later, {earlier}) : QVariant();
}

DatabaseFault OdbcDriver::faultOf(const QString &what, const OdbcHandle &handle) const
{
    const auto diagnosis = handle.diagnosis();
    return fault(what, isDead() ? SqlErrorCode() : diagnosis.code,
                 diagnosis.text.isEmpty() ? u"ODBC 驱动程序没有说明原因"_s : diagnosis.text);
}

OdbcHandle OdbcDriver::newStatementHandle() const
{
    OdbcHandle handle(SQL_HANDLE_STMT, m_connection.get());
    if (handle.isNull())
        throw DatabaseFault(DatabaseFault::Kind::Lost,
                            u"ODBC 数据库连接已断开 "_s + m_connection.diagnosis().text);
    return handle;
}

QString OdbcDriver::information(SQLUSMALLINT kind) const
{
    std::array<SQLWCHAR, 256> text{};
    SQLSMALLINT length = 0;
    SQLGetInfoW(m_connection.get(), kind, text.data(), sizeof text, &length);
    return QString::fromUtf16(reinterpret_cast<const char16_t *>(text.data()));
}

bool OdbcDriver::isDead() const
{
    SQLUINTEGER dead = SQL_CD_FALSE;
    return SQL_SUCCEEDED(SQLGetConnectAttrW(m_connection.get(), SQL_ATTR_CONNECTION_DEAD, &dead, sizeof dead,
                                            nullptr)) &&
           dead == SQL_CD_TRUE;
}

QList<QVariantList> OdbcDriver::plainRows(const QString &sql)
{
    return rowsBy(sql, [&](SQLHSTMT handle) {
        return SQLExecDirectW(handle, odbcText(sql), static_cast<SQLINTEGER>(sql.size()));
    });
}

/// By the driver's own catalogue where the dialect knows none.
QList<NameResolver::Column> OdbcDriver::columnsOf(const QString &lowerCaseTable)
{
    if (isKnownSystem())
        return ServerDriver::columnsOf(lowerCaseTable);
    const auto limit = watch(0);
    QList<NameResolver::Column> columns;
    // Catalogue, schema, table.
    const auto tables = rowsBy(u"SQLTables"_s, [](SQLHSTMT handle) {
        return SQLTablesW(handle, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0);
    });
    for (const QVariantList &table : tables) {
        const QString name = table[2].toString();
        if (name.toLower() != lowerCaseTable)
            continue;
        // Those of other tables, too: the name is a pattern.
        const auto all = rowsBy(u"SQLColumns"_s, [&](SQLHSTMT handle) {
            return SQLColumnsW(handle, nullptr, 0, nullptr, 0, odbcText(name), SQL_NTS, nullptr, 0);
        });
        for (const QVariantList &column : all) {
            if (column.first(3) == table.first(3))
                columns += {name, column[3].toString()};
        }
    }
    return columns;
}

QList<QVariantList> OdbcDriver::rowsBy(const QString &what,
                                       const std::function<SQLRETURN(SQLHSTMT)> &call) const
{
    OdbcStatement statement(*this, what);
    statement.executeBy(call);
    QList<QVariantList> rows;
    while (statement.next()) {
        QVariantList &row = rows.emplaceBack();
        for (int column = 0; column < statement.columnNames().size(); ++column)
            row += statement.value(column);
    }
    return rows;
}
