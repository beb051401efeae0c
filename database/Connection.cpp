#include "database/Connection.h"

#include "database/DriverFactory.h"

#include <QScopeGuard>
#include <QThread>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{

/// The lock that all servers on a database share, or that the only one has. As long as the digests of NamedLock.
constexpr auto serversLock = "9d1c7be05f324a8896e3c0a4517fd26b";

} // namespace

template <typename Work>
decltype(auto) Connection::resuming(bool isRepeatable, Work work)
{
    try {
        return work();
    } catch (const DatabaseFault &fault) {
        if (!isRepeatable || fault.kind() != DatabaseFault::Kind::Lost || !resume())
            throw;
    }
    return work();
}

/// Runs a piece of work on the database and remembers the fault that it strikes.
template <typename Work>
auto Connection::remembering(Work work)
{
    requireUsable();
    if (m_transactionDepth > 0 && m_transactionFault)
        throw DatabaseFault(*m_transactionFault);
    if (m_hasMetLock && m_transactionDepth == 0)
        setPatience(false);
    ++m_statementsRun;
    const auto noteTime = qScopeGuard([this] { m_sinceAnswer.start(); });
    try {
        return work();
    } catch (const DatabaseFault &fault) {
        throw remembered(fault);
    }
}

/// The fault to be told.
DatabaseFault Connection::remembered(const DatabaseFault &fault)
{
    if (fault.kind() == DatabaseFault::Kind::Lost)
        m_lost = true;
    m_hasMetLock = m_hasMetLock || fault.kind() == DatabaseFault::Kind::Locked;
    if (m_transactionDepth == 0)
        return fault;
    m_transactionFault = fault;
    if (!m_lost && m_driver->hasTransactionEnded()) {
        m_isTransactionOver = true;
        m_transactionFault = DatabaseFault(fault.kind(), fault.message() + u"（服务器已撤销整个事务）"_s);
    }
    return *m_transactionFault;
}

Connection::~Connection()
{
    close();
}

void Connection::open(const QString &connectionString)
{
    close();
    m_connectionString = connectionString;
    m_driver = makeDriver(connectionString);
    try {
        m_driver->open();
        m_hasEndedSession = !m_lostSession.isEmpty();
        if (m_hasEndedSession)
            m_driver->endSession(std::exchange(m_lostSession, {}));
        if (m_lend && !m_driver->dialect().hasNamedLocks())
            m_lentLocks = m_lend();
    } catch (const DatabaseFault &) {
        close();
        throw;
    }
}

void Connection::close()
{
    Q_ASSERT(m_transactionDepth == 0);
    m_sinceAnswer.invalidate();
    if (m_driver) {
        m_driver->closing();
        if (!isOpen() && !m_driver->sessionMark().isEmpty())
            m_lostSession = m_driver->sessionMark();
        leavePlace();
    }
    m_statements.clear();
    m_failedStatements.clear();
    m_lentLocks.reset();
    m_driver.reset();
    m_lost = false;
    ++m_session;
    m_namedLocks = 0;
    m_place.reset();
    m_isPatient = true;
    m_hasMetLock = false;
}

void Connection::ping()
{
    remembering([this] { m_driver->ping(); });
}

void Connection::renewPatience()
{
    m_hasMetLock = false;
    if (isOpen() && m_transactionDepth == 0)
        setPatience(true);
}

void Connection::setPatience(bool isPatient)
{
    if (std::exchange(m_isPatient, isPatient) == isPatient)
        return;
    try {
        m_driver->setLockLimit(isPatient ? DatabaseLimits::lock : DatabaseLimits::nextLock);
    } catch (const DatabaseFault &fault) {
        throw remembered(fault);
    }
}

/// Executes a statement, prepared if need be, and works on its result. One that fails is prepared anew the
/// next time: the table may have changed since.
template <typename Work>
auto Connection::withStatement(const QString &sql, const QVariantList &values, Work work)
{
    return remembering([&] {
        try {
            Statement &statement = resuming(sql.startsWith("select"_L1), [&]() -> Statement & {
                Statement &executed = prepared(sql);
                executed.execute(values);
                return executed;
            });
            const auto letGo = qScopeGuard([&] { statement.finish(); });
            return work(statement);
        } catch (const DatabaseFault &) {
            m_failedStatements += sql;
            throw;
        }
    });
}

qint64 Connection::execute(const QString &sql, const QVariantList &values)
{
    return withStatement(sql, values, [this](const Statement &statement) {
        const qint64 rows = statement.affectedRows();
        return rows >= 0 ? rows : m_driver->lastRowCount();
    });
}

std::optional<QVariant> Connection::firstValue(const QString &sql, const QVariantList &values)
{
    return withStatement(sql, values, [](Statement &statement) {
        return statement.next() ? std::optional(statement.value(0)) : std::nullopt;
    });
}

Connection::Snapshot Connection::query(const QString &sql, const QVariantList &values)
{
    return withStatement(sql, values, [](Statement &statement) {
        Snapshot snapshot{statement.columnNames(), {}};
        const int columns = static_cast<int>(snapshot.columns.size());
        while (statement.next()) {
            for (int column = 0; column < columns; ++column)
                snapshot.values.push_back(statement.value(column));
        }
        return snapshot;
    });
}

void Connection::scan(const QString &sql, const QVariantList &values,
                      const std::function<bool(const Statement &)> &visit)
{
    withStatement(sql, values, [&](Statement &statement) {
        while (statement.next() && visit(statement)) {
        }
    });
}

void Connection::insert(const QString &sql, const QVariantList &values)
{
    withStatement(sql, values, [](const Statement &) {});
}

QVariant Connection::insertForIdentity(const QString &table, const QString &sql, const QVariantList &values,
                                       const QString &identityColumn)
{
    requireUsable();
    const QString insert = m_driver->identityInsert(sql, identityColumn);
    const bool answers = insert.size() != sql.size();
    if (!answers)
        remembering([&] { m_driver->beforeIdentity(table, identityColumn); });
    return withStatement(insert, values, [&](Statement &statement) {
        QVariant identity;
        if (!answers)
            identity = m_driver->lastIdentity(statement, table, identityColumn);
        else if (statement.next())
            identity = statement.value(0);
        if (identity.isNull())
            throw DatabaseFault(DatabaseFault::Kind::Refused,
                                u"数据库没有给出新记录的编号 %1.%2"_s.arg(table, identityColumn));
        return identity;
    });
}

void Connection::updateFirstRow(const QString &table, const QString &assignments, const QString &condition,
                                const QVariantList &assigned, const QVariantList &compared, int foundRows)
{
    requireUsable();
    // One row needs no telling apart, so that a view serves as well as a table.
    QString update = u"update %1 set %2 where %3"_s.arg(table, assignments, condition);
    if (foundRows > 1)
        update = m_driver->dialect().traits().updateOfFirstRow.arg(table, assignments, condition);
    if (execute(update, assigned + compared) > 0)
        return;
    const DatabaseFault gone(DatabaseFault::Kind::Locked, u"%1 中的记录已被他人改动"_s.arg(table));
    throw remembered(gone);
}

QString Connection::pastHeldRows(const QString &table)
{
    requireUsable();
    return table + m_driver->dialect().traits().pastHeldRows;
}

QStringList Connection::tablesWithoutTransactions()
{
    requireUsable();
    QStringList names;
    if (const QString question = m_driver->dialect().traits().tablesWithoutTransactionsQuery;
        !question.isEmpty()) {
        const auto found = query(question, {});
        for (const QVariant &name : found.values)
            names += name.toString().toLower();
    }
    return names;
}

bool Connection::takePlace(bool isShared)
{
    requireUsable();
    if (m_place == isShared)
        return true;
    // A session of ours that was told to end does so in a moment.
    constexpr int mostTries = 20;
    bool isHeld = tryPlace(isShared);
    for (int tries = std::exchange(m_hasEndedSession, false) ? mostTries : 0; !isHeld && tries > 0; --tries) {
        QThread::msleep(25);
        isHeld = tryPlace(isShared);
    }
    if (isHeld)
        m_place = isShared;
    return isHeld;
}

bool Connection::tryPlace(bool isShared)
try {
    if (m_lentLocks)
        return m_lentLocks->tryTake({}, isShared);
    if (!m_driver->dialect().hasNamedLocks())
        return true;
    m_driver->limitSilence();
    const auto take = m_driver->dialect().sharedLock(serversLock, isShared).take;
    return query(take.sql, take.values).values.back().toInt() == 1;
} catch (const DatabaseFault &fault) {
    if (fault.kind() != DatabaseFault::Kind::Refused)
        throw;
    return true;
}

/// A server notices the end of a session a moment later, and the next one wants the place at once.
void Connection::leavePlace() noexcept
try {
    if (!m_place || !isOpen() || !m_driver->dialect().hasNamedLocks())
        return;
    const auto release = m_driver->dialect().sharedLock(serversLock, *m_place).release;
    static_cast<void>(query(release.sql, release.values));
} catch (const DatabaseFault &) {
}

void Connection::requireUsable()
{
    // Inside a transaction the database was there a moment ago, and every row would ask again.
    if (m_driver && !m_lost && m_transactionDepth == 0 && !m_driver->isUsable() && !resume())
        m_lost = true;
    if (!m_driver || m_lost)
        throw DatabaseFault(DatabaseFault::Kind::Lost, u"数据库连接已断开"_s);
}

bool Connection::resume()
{
    // Less is no idleness: whoever cuts it means it.
    constexpr qint64 idleMilliseconds = 1000;
    const bool wasIdle = m_sinceAnswer.isValid() && m_sinceAnswer.elapsed() >= idleMilliseconds;
    if (!wasIdle || m_transactionDepth > 0 || m_namedLocks > 0 || m_driver->hasTimedOut())
        return false;
    try {
        const auto place = m_place;
        open(QString(m_connectionString));
        return !place || takePlace(*place);
    } catch (const DatabaseFault &) {
        return false;
    }
}

Statement &Connection::prepared(const QString &sql)
{
    if (m_transactionDepth == 0)
        forgetFailedStatements();
    // All columns are those of now, not of when the statement was prepared.
    if (sql.startsWith("select *"_L1, Qt::CaseInsensitive))
        m_statements.erase(sql);
    auto &statement = m_statements[sql];
    if (!statement)
        statement = m_driver->prepare(sql);
    return *statement;
}

/// Not inside a transaction: after a fault it lets no statement through.
void Connection::forgetFailedStatements()
{
    for (const QString &failed : std::exchange(m_failedStatements, {}))
        m_statements.erase(failed);
}

void Connection::beginTransaction()
{
    if (m_transactionDepth == 0) {
        forgetFailedStatements();
        remembering([this] { resuming(true, [this] { m_driver->begin(); }); });
        m_transactionFault.reset();
        m_isTransactionOver = false;
    }
    ++m_transactionDepth;
}

void Connection::commitTransaction()
{
    Q_ASSERT(m_transactionDepth > 0);
    if (m_transactionFault)
        throw DatabaseFault(*m_transactionFault);
    if (m_transactionDepth == 1)
        remembering([this] { m_driver->commit(); });
    --m_transactionDepth;
}

void Connection::rollbackTransaction() noexcept
{
    // A lost connection rolls back by itself.
    if (--m_transactionDepth == 0) {
        if (!m_lost)
            m_driver->rollback();
        forgetFailedStatements();
    } else if (!m_transactionFault) {
        m_transactionFault = DatabaseFault(DatabaseFault::Kind::Refused, u"事务的一部分已被撤销"_s);
    }
}

std::optional<DatabaseFault> Connection::setSavepoint(const QString &name)
{
    Q_ASSERT(m_transactionDepth > 0);
    remembering([&] { m_driver->step(&SystemTraits::savepoint, name); });
    return m_transactionFault;
}

void Connection::releaseSavepoint(const QString &name)
{
    remembering([&] { m_driver->step(&SystemTraits::release, name); });
}

void Connection::rollbackToSavepoint(const QString &name,
                                     const std::optional<DatabaseFault> &earlierFault) noexcept
{
    if (m_lost || m_isTransactionOver)
        return;
    // The one statement that a fault does not refuse.
    const auto fault = std::exchange(m_transactionFault, std::nullopt);
    try {
        remembering([&] { m_driver->step(&SystemTraits::rollbackTo, name); });
        m_transactionFault = earlierFault;
    } catch (const DatabaseFault &) {
        // The transaction can only be rolled back as a whole.
        if (fault)
            m_transactionFault = fault;
    }
}
