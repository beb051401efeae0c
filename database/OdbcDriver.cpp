#include "database/OdbcDriver.h"

#include "database/OdbcStatement.h"
#include "database/OpenSockets.h"
#include "database/StatementLimit.h"

#include <array>

using namespace Qt::StringLiterals;

namespace
{

/// Enough of a statement to recognise it in a fault's text.
constexpr qsizetype shownSqlLength = 120;
/// What a packet holds beside the values, generously.
constexpr qint64 packetOverheadOctets = 64 * 1024;

SQLPOINTER attribute(qint64 value)
{
    return reinterpret_cast<SQLPOINTER>(static_cast<quintptr>(value));
}

} // namespace

OdbcDriver::OdbcDriver(OdbcTarget target)
    : m_target(std::move(target)),
      m_environment(SQL_HANDLE_ENV, nullptr),
      m_connection(SQL_HANDLE_DBC, m_environment.get()),
      m_dialect(standardSqlDialect()),
      m_names([this](const QString &table) { return columnsOf(table); },
              [this](const QString &name) { return m_dialect->quotedName(name); })
{
}

OdbcDriver::~OdbcDriver()
{
    m_columnsQuery.reset();
    m_questions.clear();
    if (m_isConnected) {
        SQLEndTran(SQL_HANDLE_DBC, m_connection.get(), SQL_ROLLBACK);
        SQLDisconnect(m_connection.get());
    }
}

void OdbcDriver::open()
{
    connect();
    recogniseServer();
    setUpSession();
}

void OdbcDriver::connect()
{
    if (m_connection.isNull())
        throw DatabaseFault(DatabaseFault::Kind::Lost, u"ODBC 驱动管理器不可用"_s);
    const auto limit = m_target.limits.connect.count();
    SQLSetConnectAttrW(m_connection.get(), SQL_ATTR_LOGIN_TIMEOUT, attribute(limit), SQL_IS_UINTEGER);
    const OpenSockets before = OpenSockets::now();
    const SQLRETURN result = SQLDriverConnectW(m_connection.get(), nullptr, odbcText(m_target.text),
                                               static_cast<SQLSMALLINT>(m_target.text.size()), nullptr, 0,
                                               nullptr, SQL_DRIVER_NOPROMPT);
    if (!SQL_SUCCEEDED(result))
        throw DatabaseFault(DatabaseFault::Kind::Lost,
                            u"无法连接 ODBC 数据库："_s + m_connection.diagnosis().text);
    m_isConnected = true;
    m_guard.setSockets(OpenSockets::now().since(before));
}

void OdbcDriver::recogniseServer()
{
    const QString name = information(SQL_DBMS_NAME);
    if (name.contains("PostgreSQL"_L1, Qt::CaseInsensitive))
        m_dialect = postgreSqlDialect();
    else if (name.contains("MariaDB"_L1, Qt::CaseInsensitive) ||
             name.contains("MySQL"_L1, Qt::CaseInsensitive))
        m_dialect = mariaDbDialect();
    else if (name.contains("SQL Server"_L1, Qt::CaseInsensitive))
        m_dialect = sqlServerDialect();
}

void OdbcDriver::setUpSession()
{
    const QString version = information(SQL_DBMS_NAME) + u' ' + information(SQL_DBMS_VER);
    m_dialect->setUpSession(version, m_target.limits, [this](const QString &sql) { runPlain(sql); });
    if (const QString query = m_dialect->payloadLimitQuery(); !query.isEmpty()) {
        OdbcStatement statement(*this, query, query);
        statement.execute({});
        if (statement.next())
            m_maximumPayload = statement.value(0).toLongLong() - packetOverheadOctets;
    }
    m_lenient.recognise(*m_dialect);
}

std::unique_ptr<Statement> OdbcDriver::prepare(const QString &sql)
{
    const QString spelled = m_dialect->columnsQuery().isEmpty() ? sql : m_names.rewritten(sql);
    return std::make_unique<OdbcStatement>(*this, sql, spelled);
}

void OdbcDriver::begin()
{
    runPlain(m_dialect->begin());
    m_lenient.transactionBegan();
}

void OdbcDriver::commit()
{
    runPlain(m_dialect->commit());
    m_lenient.transactionEnded();
}

void OdbcDriver::rollback() noexcept
{
    m_lenient.transactionEnded();
    try {
        runPlain(m_dialect->rollback());
    } catch (const DatabaseFault &) {
        // A transaction that cannot be rolled back is gone with its connection.
    }
}

void OdbcDriver::setSavepoint(const QString &name)
{
    runPlain(m_dialect->savepoint(name));
}

void OdbcDriver::releaseSavepoint(const QString &name)
{
    if (const QString sql = m_dialect->releaseSavepoint(name); !sql.isEmpty())
        runPlain(sql);
}

void OdbcDriver::rollbackToSavepoint(const QString &name)
{
    runPlain(m_dialect->rollbackToSavepoint(name));
}

void OdbcDriver::closing() noexcept
{
    m_closing.emplace(&m_guard, closingLimit);
}

QString OdbcDriver::identityInsert(const QString &insert, const QString &identityColumn) const
{
    return m_dialect->identityInsert(insert, identityColumn);
}

void OdbcDriver::beforeIdentity(const QString &table, const QString &identityColumn)
{
    if (!m_dialect->identityReset().isEmpty())
        runPlain(m_dialect->identityReset());
    else if (m_dialect->identityQuery().isEmpty())
        m_earlierIdentity = answer(u"select max(%2) from %1"_s.arg(table, identityColumn));
}

/// Where the system has no way of its own that we know: numbers grow, so a single row that has come since is
/// ours, which this transaction sees in any case. Of several nobody can tell which.
QVariant OdbcDriver::lastIdentity(Statement &, const QString &table, const QString &identityColumn)
{
    if (!m_dialect->identityQuery().isEmpty())
        return answer(m_dialect->identityQuery());
    const QVariant earlier = m_earlierIdentity.isNull() ? QVariant(0) : m_earlierIdentity;
    const QString later = u" from %1 where %2>?"_s.arg(table, identityColumn);
    const int rows = answer("select count(*)"_L1 + later, {earlier}).toInt();
    if (rows > 1)
        throw DatabaseFault(DatabaseFault::Kind::Unavailable,
                            u"%1 中同时有他人写入，无法认出新记录的编号"_s.arg(table));
    return rows == 1 ? answer(u"select max(%1)"_s.arg(identityColumn) + later, {earlier}) : QVariant();
}

bool OdbcDriver::hasTransactionEnded()
{
    if (m_dialect->openTransactionsQuery().isEmpty())
        return false;
    try {
        return answer(m_dialect->openTransactionsQuery()).toInt() == 0;
    } catch (const DatabaseFault &) {
        return false; // told by whatever comes next
    }
}

qint64 OdbcDriver::lastRowCount()
{
    return m_dialect->rowCountQuery().isEmpty() ? Driver::lastRowCount()
                                                : answer(m_dialect->rowCountQuery()).toLongLong();
}

QString OdbcDriver::lockOfRows(const QString &table, const QString &condition) const
{
    return m_dialect->lockOfRows(table, condition);
}

QVariant OdbcDriver::answer(const QString &question, const QVariantList &values)
{
    auto &statement = m_questions[question];
    if (!statement)
        statement = prepare(question);
    statement->execute(values);
    QVariant answer = statement->next() ? statement->value(0) : QVariant();
    statement->finish();
    return answer;
}

QString OdbcDriver::updateOfFirstRow(const QString &table, const QString &assignments,
                                     const QString &condition) const
{
    return m_dialect->updateOfFirstRow(table, assignments, condition);
}

DeadlineGuard::Watch OdbcDriver::watch(qint64 payloadOctets)
{
    return {&m_guard, statementLimit(m_target.limits, payloadOctets)};
}

void OdbcDriver::requireCarriable(qint64 payloadOctets) const
{
    if (m_maximumPayload > 0 && payloadOctets > m_maximumPayload)
        throw payloadFault(m_maximumPayload);
}

DatabaseFault OdbcDriver::fault(const QString &what, const OdbcHandle &handle) const
{
    const auto diagnosis = handle.diagnosis();
    if (m_guard.hasFired())
        return {DatabaseFault::Kind::Lost, u"ODBC 数据库在规定时间内没有应答"_s};
    const auto kind = isDead() ? DatabaseFault::Kind::Lost : m_dialect->kindOf(diagnosis.code);
    QString text = what.left(shownSqlLength) + u"："_s +
                   (diagnosis.text.isEmpty() ? u"ODBC 驱动程序没有说明原因"_s : diagnosis.text);
    if (!diagnosis.code.state.isEmpty())
        text += u" [%1 %2]"_s.arg(diagnosis.code.state).arg(diagnosis.code.number);
    return {kind, text};
}

DatabaseFault OdbcDriver::explained(const DatabaseFault &fault, const QString &sql,
                                    const QVariantList &values)
{
    if (fault.kind() != DatabaseFault::Kind::Refused || m_dialect->columnsQuery().isEmpty())
        return fault;
    return withColumnsTooShort(fault, m_names.storedParameters(sql), values);
}

void OdbcDriver::runPlain(const QString &sql)
{
    const OdbcHandle statement = newStatementHandle();
    const DeadlineGuard::Watch limit(&m_guard, statementLimit(m_target.limits, 0));
    const SQLRETURN result =
        SQLExecDirectW(statement.get(), odbcText(sql), static_cast<SQLINTEGER>(sql.size()));
    if (!SQL_SUCCEEDED(result) && result != SQL_NO_DATA)
        throw fault(sql, statement);
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

QList<LenientSession::Warning> OdbcDriver::warnings(const QString &query)
{
    OdbcStatement statement(*this, query, query);
    statement.execute({});
    QList<LenientSession::Warning> warnings;
    while (statement.next())
        warnings +=
            {statement.value(0).toString(), statement.value(1).toInt(), statement.value(2).toString()};
    return warnings;
}

QList<NameResolver::Column> OdbcDriver::columnsOf(const QString &lowerCaseTable)
{
    if (!m_columnsQuery)
        m_columnsQuery =
            std::make_unique<OdbcStatement>(*this, m_dialect->columnsQuery(), m_dialect->columnsQuery());
    m_columnsQuery->execute({lowerCaseTable});
    QList<NameResolver::Column> columns;
    while (m_columnsQuery->next())
        columns += {m_columnsQuery->value(0).toString(), m_columnsQuery->value(1).toString(),
                    m_columnsQuery->value(2).toInt()};
    m_columnsQuery->finish();
    return columns;
}
