#include "database/driver/ServerDriver.h"

#include "database/driver/ServerStatement.h"
#include "database/driver/StatementLimit.h"

using namespace Qt::StringLiterals;

namespace
{

/// What a packet holds beside the values, generously.
constexpr qint64 packetOverheadOctets = qint64(64) * 1024;

} // namespace

ServerDriver::ServerDriver(std::unique_ptr<SqlDialect> dialect, const DatabaseLimits &limits)
    : m_dialect(std::move(dialect)),
      m_limits(limits),
      m_names([this](const QString &table) { return columnsOf(table); },
              [this](const QString &name) { return m_dialect->quotedName(name); }),
      m_texts(m_names,
              [this](const QString &characterSet, const QString &text) {
                  const QString question = m_dialect->replacedTextQuery(characterSet);
                  return question.isEmpty() ? text : answer(question, {text}).toString();
              }),
      m_lenient(*this, [this](const QString &query) { return warnings(query); })
{
}

ServerDriver::~ServerDriver() = default;

void ServerDriver::open()
{
    connect();
    refusePoolOfTransactions();
    m_dialect->setUpSession(serverVersion(), m_limits, [this](const QString &sql) { runPlain(sql); });
    checkSession();
    if (const QString query = m_dialect->payloadLimitQuery(); !query.isEmpty())
        m_maximumPayload = plainValue(query).toLongLong() - packetOverheadOctets;
    if (const QString query = m_dialect->encodingQuery(); !query.isEmpty())
        m_texts.setEncoding(plainValue(query).toString());
    m_lenient.recognise(*m_dialect);
}

/// A pool between us and the server (pgbouncer's pool_mode=transaction) that gives another session to each transaction
/// keeps neither our settings nor prepared statements, nor locks. It lends a session that is idle to the next who asks.
void ServerDriver::refusePoolOfTransactions()
{
    const QString query = m_dialect->sessionNumberQuery();
    if (query.isEmpty())
        return;
    const QVariant ours = plainValue(query);
    if (mayBePooled(ours.toInt()) && answerOfAnotherSession(query) == ours)
        throw DatabaseFault(DatabaseFault::Kind::Lost,
                            u"数据库连接池（例如 pgbouncer）按事务分配连接，不能使用，请改为会话模式"
                            "（pool_mode=session）或直接连接数据库服务器"_s);
}

std::unique_ptr<Statement> ServerDriver::prepare(const QString &sql)
{
    // Looks the names up, under a time limit of its own.
    const QString spelled = m_dialect->columnsQuery().isEmpty() ? sql : m_names.rewritten(sql);
    const auto limit = watch(0);
    return std::make_unique<ServerStatement>(*this, sql, prepareLine(sql, spelled));
}

void ServerDriver::begin()
{
    runPlain(m_dialect->begin());
    m_inTransaction = true;
}

void ServerDriver::commit()
{
    runPlain(m_dialect->commit());
    m_inTransaction = false;
}

void ServerDriver::rollback() noexcept
{
    m_inTransaction = false;
    try {
        runPlain(m_dialect->rollback());
    } catch (const DatabaseFault &) {
        // A transaction that cannot be rolled back is gone with its connection.
    }
}

void ServerDriver::setSavepoint(const QString &name)
{
    runPlain(m_dialect->savepoint(name));
}

void ServerDriver::releaseSavepoint(const QString &name)
{
    if (const QString sql = m_dialect->releaseSavepoint(name); !sql.isEmpty())
        runPlain(sql);
}

void ServerDriver::rollbackToSavepoint(const QString &name)
{
    runPlain(m_dialect->rollbackToSavepoint(name));
}

void ServerDriver::closing() noexcept
{
    m_closing.emplace(&m_guard, closingLimit);
    m_questions.clear();
}

bool ServerDriver::hasTransactionEnded()
{
    if (m_dialect->openTransactionsQuery().isEmpty())
        return false;
    try {
        return answer(m_dialect->openTransactionsQuery()).toInt() == 0;
    } catch (const DatabaseFault &) {
        return false; // told by whatever comes next
    }
}

qint64 ServerDriver::lastRowCount()
{
    return m_dialect->rowCountQuery().isEmpty() ? Driver::lastRowCount()
                                                : answer(m_dialect->rowCountQuery()).toLongLong();
}

QString ServerDriver::identityInsert(const QString &insert, const QString &identityColumn) const
{
    return m_dialect->identityInsert(insert, identityColumn);
}

QString ServerDriver::lockOfRows(const QString &table, const QString &condition) const
{
    return m_dialect->lockOfRows(table, condition);
}

QString ServerDriver::updateOfFirstRow(const QString &table, const QString &assignments,
                                       const QString &condition) const
{
    return m_dialect->updateOfFirstRow(table, assignments, condition);
}

DeadlineGuard::Watch ServerDriver::watch(qint64 payloadOctets)
{
    return {&m_guard, statementLimit(m_limits, payloadOctets)};
}

QVariant ServerDriver::answer(const QString &question, const QVariantList &values)
{
    auto &statement = m_questions[question];
    if (!statement)
        statement = prepare(question);
    statement->execute(values);
    QVariant answer = statement->next() ? statement->value(0) : QVariant();
    statement->finish();
    return answer;
}

void ServerDriver::runPlain(const QString &sql)
{
    const auto limit = watch(0);
    execPlain(sql);
}

QVariant ServerDriver::plainValue(const QString &sql)
{
    const auto limit = watch(0);
    const auto rows = plainRows(sql, 1);
    return rows.isEmpty() ? QVariant() : rows[0][0];
}

QList<LenientSession::Warning> ServerDriver::warnings(const QString &query)
{
    const auto limit = watch(0);
    QList<LenientSession::Warning> warnings;
    const auto rows = plainRows(query, 3);
    for (const QVariantList &row : rows)
        warnings += {row[0].toString(), row[1].toInt(), row[2].toString()};
    return warnings;
}

/// Not by prepare(), which would look up the names of the catalogue's tables in turn.
QList<NameResolver::Column> ServerDriver::columnsOf(const QString &lowerCaseTable)
{
    const QString question = m_dialect->columnsQuery();
    if (question.isEmpty())
        return {};
    const auto limit = watch(0);
    auto &statement = m_questions[question];
    if (!statement)
        statement = prepareLine(question, question);
    statement->execute({lowerCaseTable});
    QList<NameResolver::Column> columns;
    while (statement->next())
        columns += {statement->value(0).toString(), statement->value(1).toString(),
                    statement->value(2).toInt(), statement->value(3).toString()};
    statement->finish();
    return columns;
}
