#include "database/driver/ServerDriver.h"

#include "database/driver/BoundValue.h"

#include <QScopeGuard>
#include <QUuid>
#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace
{

/// What a packet holds beside the values, generously.
constexpr qint64 packetOverheadOctets = qint64(64) * 1024;

/// For the goodbyes of a connection that is closed.
constexpr auto closingLimit = 2s;

/// A server that is merely busy answers by then, and nobody looks at a window that stands still for it.
constexpr auto pingLimit = 3s;

} // namespace

/// A statement to a database server: its values in a form that the server takes, within its limits of time and
/// size, and its refusals explained.
class ServerDriver::ServerStatement final : public Statement
{
public:
    /// sql: as the program wrote it. line: the prepared statement that sends what it is given.
    ServerStatement(ServerDriver &driver, QString sql, std::unique_ptr<Statement> line)
        : m_driver(driver), m_sql(std::move(sql)), m_line(std::move(line))
    {
    }

    void execute(const QVariantList &values) override;
    [[nodiscard]] bool next() override;
    [[nodiscard]] QVariant value(int column) const override { return m_line->value(column); }
    [[nodiscard]] QStringList columnNames() const override { return m_line->columnNames(); }
    [[nodiscard]] qint64 affectedRows() const override { return m_findsNothing ? 0 : m_line->affectedRows(); }
    [[nodiscard]] QVariant lastIdentity() const override { return m_line->lastIdentity(); }
    void finish() noexcept override { m_line->finish(); }

private:
    void executeStorable(const QVariantList &values);
    void executeInTime(const QVariantList &bound, qint64 payload);
    void requireUncut();

    ServerDriver &m_driver;
    QString m_sql;
    std::unique_ptr<Statement> m_line;
    bool m_findsNothing = false; // a value is compared that the database cannot hold
};

ServerDriver::ServerDriver(std::unique_ptr<SqlDialect> dialect, const DatabaseLimits &limits)
    : m_dialect(std::move(dialect)),
      m_limits(limits),
      m_names([this](const QString &table) { return columnsOf(table); },
              [this](const QString &name) { return m_dialect->quotedName(name); }),
      m_texts(m_names, [this](const QString &characterSet, const QString &text) {
          const QString question = m_dialect->traits().replacedTextQuery;
          return question.isEmpty() ? text : answer(question.arg(characterSet), {text}).toString();
      })
{
}

ServerDriver::~ServerDriver() = default;

void ServerDriver::open()
{
    connect();
    refusePoolOfTransactions();
    m_dialect->setUpSession(serverVersion(), m_limits, [this](const QString &sql) { runPlain(sql); });
    checkSession();
    if (const QString query = m_dialect->traits().payloadLimitQuery; !query.isEmpty())
        m_maximumPayload = plainValue(query).toLongLong() - packetOverheadOctets;
    if (const QString query = m_dialect->traits().encodingQuery; !query.isEmpty())
        m_texts.setEncoding(plainValue(query).toString());
    if (const QString query = m_dialect->traits().leniencyQuery; !query.isEmpty())
        m_isLenient = plainValue(query).toInt() != 0;
    markSession();
}

void ServerDriver::markSession()
{
    if (m_dialect->traits().sessionMarking.isEmpty())
        return;
    const QString mark = "sms-server "_L1 + QUuid::createUuid().toString(QUuid::Id128);
    try {
        static_cast<void>(answer(m_dialect->traits().sessionMarking, {mark}));
        m_mark = mark;
    } catch (const DatabaseFault &fault) {
        if (fault.kind() == DatabaseFault::Kind::Lost)
            throw;
    }
}

void ServerDriver::endSession(const QString &mark) noexcept
{
    if (m_dialect->traits().endOfMarkedSession.isEmpty())
        return;
    try {
        static_cast<void>(answer(m_dialect->traits().endOfMarkedSession, {mark}));
    } catch (const DatabaseFault &) {
        // It has gone by itself.
    }
}

void ServerDriver::limitSilence()
{
    if (!m_dialect->traits().silenceLimit.isEmpty() && !std::exchange(m_isSilenceLimited, true))
        runPlain(m_dialect->traits().silenceLimit);
}

void ServerDriver::ping()
{
    const DeadlineGuard::Watch limit(m_guard, pingLimit);
    try {
        plainRows(u"select 1"_s);
    } catch (const DatabaseFault &fault) {
        if (fault.kind() == DatabaseFault::Kind::Lost) // a refusal is an answer, too
            throw;
    }
}

/// A pool between us and the server (pgbouncer's pool_mode=transaction) that gives another session to each transaction
/// keeps neither our settings nor prepared statements, nor locks. It lends a session that is idle to the next who asks.
void ServerDriver::refusePoolOfTransactions()
{
    const QString query = m_dialect->traits().sessionNumberQuery;
    if (query.isEmpty())
        return;
    const QVariant ours = plainValue(query);
    if (mayBePooled(ours.toInt()) && answerOfAnotherSession(query) == ours)
        throw DatabaseFault(DatabaseFault::Kind::Lost,
                            u"数据库连接池（例如 pgbouncer）按事务分配连接，不能使用，请改为会话模式"
                            "（pool_mode=session）或直接连接数据库服务器"_s);
}

/// Null when it cannot be had.
QVariant ServerDriver::answerOfAnotherSession(const QString &query) const
{
    const auto other = another();
    try {
        other->connect();
        return other->plainValue(query);
    } catch (const DatabaseFault &) {
        return {};
    }
}

std::unique_ptr<Statement> ServerDriver::prepare(const QString &sql)
{
    const QString spelled = m_names.rewritten(sql); // looks them up, under a time limit of its own
    const auto limit = watch(0);
    return std::make_unique<ServerStatement>(*this, sql, prepareLine(sql, spelled));
}

void ServerDriver::closing() noexcept
{
    m_closing.emplace(m_guard, closingLimit);
    m_questions.clear();
}

bool ServerDriver::hasTransactionEnded()
{
    if (m_dialect->traits().openTransactionsQuery.isEmpty())
        return false;
    try {
        return answer(m_dialect->traits().openTransactionsQuery).toInt() == 0;
    } catch (const DatabaseFault &) {
        return false; // told by whatever comes next
    }
}

qint64 ServerDriver::lastRowCount()
{
    return m_dialect->traits().rowCountQuery.isEmpty()
               ? Driver::lastRowCount()
               : answer(m_dialect->traits().rowCountQuery).toLongLong();
}

int ServerDriver::clusterSize()
{
    if (m_clusterSize)
        return *m_clusterSize;
    m_clusterSize = 1;
    try {
        if (const QString query = m_dialect->clusterSizeQuery(serverVersion()); !query.isEmpty())
            m_clusterSize = plainValue(query).toInt();
    } catch (const DatabaseFault &fault) {
        if (fault.kind() != DatabaseFault::Kind::Refused) // it does not tell us
            throw;
    }
    return *m_clusterSize;
}

/// The server ends a slow statement by itself, with an error that leaves the connection alive; this strikes only when
/// it does not. Large values get the time that the slowest line worth having needs for them.
DeadlineGuard::Watch ServerDriver::watch(qint64 payloadOctets)
{
    constexpr auto serverAdvance = 2s;
    constexpr qint64 slowestLineOctetsPerSecond = qint64(128) * 1024;
    const std::chrono::seconds line(payloadOctets / slowestLineOctetsPerSecond);
    return {m_guard, m_limits.statement + serverAdvance + line};
}

DatabaseFault ServerDriver::fault(const QString &what, const SqlErrorCode &code, const QString &words) const
{
    return hasTimedOut() ? DatabaseFault(DatabaseFault::Kind::Lost, u"数据库服务器在规定时间内没有应答"_s)
                         : faultOf(what, code, words);
}

DatabaseFault ServerDriver::unreachable(const QString &server, const QString &words)
{
    return {DatabaseFault::Kind::Lost,
            u"无法连接数据库服务器 %1：%2"_s.arg(server, words.section(u'\n', 0, 0).trimmed())};
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
    plainRows(sql);
}

QVariant ServerDriver::plainValue(const QString &sql)
{
    const auto limit = watch(0);
    const auto rows = plainRows(sql);
    return rows.isEmpty() ? QVariant() : rows[0][0];
}

/// Not by prepare(), which would look up the names of the catalogue's tables in turn.
QList<NameResolver::Column> ServerDriver::columnsOf(const QString &lowerCaseTable)
{
    const QString question = m_dialect->traits().columnsQuery;
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

void ServerDriver::ServerStatement::execute(const QVariantList &values)
{
    const qint64 payload = payloadOctets(values);
    if (m_driver.m_maximumPayload > 0 && payload > m_driver.m_maximumPayload)
        // The server would cut the connection.
        throw DatabaseFault(DatabaseFault::Kind::Refused,
                            u"要写入的内容有 %1 字节，超过数据库服务器允许的 %2 字节"_s.arg(payload).arg(
                                m_driver.m_maximumPayload));
    try {
        executeStorable(values);
    } catch (const DatabaseFault &fault) {
        m_line->finish();
        if (fault.kind() != DatabaseFault::Kind::Refused)
            throw;
        throw withColumnsTooShort(fault, m_driver.m_names.storedParameters(m_sql), values);
    }
}

bool ServerDriver::ServerStatement::next()
{
    if (m_findsNothing)
        return false;
    const auto limit = m_driver.watch(0);
    return m_line->next();
}

void ServerDriver::ServerStatement::executeStorable(const QVariantList &values)
{
    QVariantList bound;
    for (const QVariant &value : values)
        bound += boundValue(value, m_driver.replacementForNul());
    const qint64 payload = payloadOctets(values);
    m_findsNothing = !m_driver.m_texts.fit(m_sql, bound);
    while (!m_findsNothing) {
        try {
            executeInTime(bound, payload);
            return;
        } catch (const DatabaseFault &refusal) {
            if (refusal.cause() != DatabaseFault::Cause::Characters)
                throw;
            m_line->finish();
            const auto remedy = m_driver.m_texts.fitRefused(m_sql, bound, refusal);
            // Some servers have ended the transaction with the refusal; then the row's next try goes well.
            if (remedy == StorableTexts::Remedy::None ||
                (m_driver.isInTransaction() && m_driver.m_dialect->traits().faultEndsTransaction))
                throw;
            m_findsNothing = remedy == StorableTexts::Remedy::FindsNothing;
        }
    }
}

void ServerDriver::ServerStatement::executeInTime(const QVariantList &bound, qint64 payload)
{
    const bool mayBeCut = m_driver.m_isLenient && (m_sql.startsWith("insert"_L1, Qt::CaseInsensitive) ||
                                                   m_sql.startsWith("update"_L1, Qt::CaseInsensitive));
    const bool isOnItsOwn = mayBeCut && !m_driver.isInTransaction();
    if (isOnItsOwn)
        m_driver.begin();
    auto takeBack = qScopeGuard([&] {
        if (isOnItsOwn)
            m_driver.rollback();
    });
    {
        const auto limit = m_driver.watch(payload);
        m_line->execute(bound);
    }
    if (mayBeCut)
        requireUncut();
    takeBack.dismiss();
    if (isOnItsOwn)
        m_driver.commit();
}

/// A statement that had a value cut is refused, as other servers do by themselves, and taken back.
void ServerDriver::ServerStatement::requireUncut()
{
    const auto limit = m_driver.watch(0);
    const auto warnings = m_driver.plainRows(m_driver.m_dialect->traits().warningsQuery);
    for (const QVariantList &warning : warnings) {
        // Blanks cut from an end are no more than a note.
        if (warning[0].toString() != "Warning"_L1)
            continue;
        const SqlErrorCode code{{}, warning[1].toInt()};
        if (m_driver.m_dialect->traits().cutValueWarnings.contains(code.number))
            throw m_driver.faultOf(m_sql, code, warning[2].toString());
        if (m_driver.m_dialect->causeOf(code) == DatabaseFault::Cause::Characters)
            m_driver.m_texts.noteReplaced(m_sql);
    }
}
