#include "database/QtSqlServerDriver.h"

#include "database/BoundValue.h"
#include "database/QtSqlStatement.h"
#include "database/StatementLimit.h"

#include <QSqlField>
#include <QSqlRecord>

using namespace Qt::StringLiterals;

namespace
{

/// What a packet holds beside the values, generously.
constexpr qint64 packetOverheadOctets = 64 * 1024;

} // namespace

/// A statement with time limits and values that fit every column kind.
class QtSqlServerStatement final : public QtSqlStatement
{
public:
    QtSqlServerStatement(QtSqlServerDriver &driver, const QSqlDatabase &database, const QString &sql)
        : QtSqlStatement(driver, database, driver.m_names.rewritten(sql)), m_driver(driver), m_sql(sql)
    {
    }

    void execute(const QVariantList &values) override
    {
        const qint64 payload = payloadOctets(values);
        if (m_driver.m_maximumPayload > 0 && payload > m_driver.m_maximumPayload)
            throw payloadFault(m_driver.m_maximumPayload);
        m_bound.clear();
        for (const QVariant &value : values)
            m_bound += boundValue(value, m_driver.m_dialect->replacementForNul());
        try {
            if (m_driver.m_lenient.concerns(m_sql))
                m_driver.m_lenient.run(m_sql, [&] { executeInTime(payload); });
            else
                executeInTime(payload);
        } catch (const DatabaseFault &fault) {
            if (fault.kind() != DatabaseFault::Kind::Refused)
                throw;
            throw withColumnsTooShort(fault, m_driver.m_names.storedParameters(m_sql), values);
        }
    }

    [[nodiscard]] QVariant value(int column) const override
    {
        QVariant value = QtSqlStatement::value(column);
        if (value.typeId() == QMetaType::Bool)
            return value.isNull() ? QVariant() : QVariant(value.toInt());
        if (value.typeId() == QMetaType::QString && isPadded(column))
            return withoutPadding(value.toString());
        return value;
    }

private:
    void executeInTime(qint64 payload)
    {
        const DeadlineGuard::Watch watch(&m_driver.m_guard,
                                         statementLimit(m_driver.m_target.limits, payload));
        QtSqlStatement::execute(m_bound);
    }

    /// PostgreSQL fills char(n) with blanks that mean nothing; MariaDB takes them off by itself.
    [[nodiscard]] bool isPadded(int column) const
    {
        constexpr int postgreSqlBpchar = 1042;
        if (!m_padded) {
            m_padded.emplace();
            const QSqlRecord record = query().record();
            for (int i = 0; i < record.count(); ++i)
                *m_padded += record.field(i).typeID() == postgreSqlBpchar;
        }
        return m_padded->value(column);
    }

    static QString withoutPadding(QString text)
    {
        while (text.endsWith(u' '))
            text.chop(1);
        return text;
    }

    QtSqlServerDriver &m_driver;
    QString m_sql;
    QVariantList m_bound;
    mutable std::optional<QList<bool>> m_padded;
};

QtSqlServerDriver::QtSqlServerDriver(const QString &qtDriver, ServerTarget target,
                                     std::unique_ptr<SqlDialect> dialect)
    : QtSqlDriver(qtDriver),
      m_target(std::move(target)),
      m_dialect(std::move(dialect)),
      m_names([this](const QString &table) { return columnsOf(table); },
              [this](const QString &name) { return m_dialect->quotedName(name); })
{
}

QtSqlServerDriver::~QtSqlServerDriver() = default;

void QtSqlServerDriver::open()
{
    QSqlDatabase db = database();
    if (m_target.port > 0)
        db.setPort(m_target.port);
    db.setDatabaseName(m_target.database);
    db.setUserName(m_target.user);
    db.setPassword(m_target.password);
    configure(db);
    if (!db.open())
        throw DatabaseFault(DatabaseFault::Kind::Lost,
                            u"无法连接数据库服务器 %1：%2"_s.arg(m_target.host, causeOf(db.lastError())));
    m_guard.setSockets({socket(db)});
    const QString version = plainValue(u"select version()"_s).toString();
    m_dialect->setUpSession(version, m_target.limits, [this](const QString &sql) { runPlain(sql); });
    if (const QString query = m_dialect->payloadLimitQuery(); !query.isEmpty())
        m_maximumPayload = plainValue(query).toLongLong() - packetOverheadOctets;
    checkSession();
    m_lenient.recognise(*m_dialect);
}

std::unique_ptr<Statement> QtSqlServerDriver::prepare(const QString &sql)
{
    const DeadlineGuard::Watch watch(&m_guard, statementLimit(m_target.limits, 0));
    return std::make_unique<QtSqlServerStatement>(*this, database(), sql);
}

void QtSqlServerDriver::begin()
{
    runPlain(m_dialect->begin());
    m_lenient.transactionBegan();
}

void QtSqlServerDriver::commit()
{
    QtSqlDriver::commit();
    m_lenient.transactionEnded();
}

void QtSqlServerDriver::rollback() noexcept
{
    const DeadlineGuard::Watch watch(&m_guard, statementLimit(m_target.limits, 0));
    QtSqlDriver::rollback();
    m_lenient.transactionEnded();
}

void QtSqlServerDriver::closing() noexcept
{
    m_closing.emplace(&m_guard, closingLimit);
    m_columnsQuery.reset();
}

QString QtSqlServerDriver::identityInsert(const QString &insert, const QString &identityColumn) const
{
    return m_dialect->identityInsert(insert, identityColumn);
}

QString QtSqlServerDriver::lockOfRows(const QString &table, const QString &condition) const
{
    return m_dialect->lockOfRows(table, condition);
}

QString QtSqlServerDriver::updateOfFirstRow(const QString &table, const QString &assignments,
                                            const QString &condition) const
{
    return m_dialect->updateOfFirstRow(table, assignments, condition);
}

DatabaseFault::Kind QtSqlServerDriver::kindOf(const QSqlError &error) const
{
    return m_dialect->kindOf(codeOf(error));
}

DatabaseFault QtSqlServerDriver::fault(const QString &what, const QSqlError &error) const
{
    if (m_guard.hasFired())
        return {DatabaseFault::Kind::Lost, u"数据库服务器 %1 在规定时间内没有应答"_s.arg(m_target.host)};
    return QtSqlDriver::fault(what, error);
}

void QtSqlServerDriver::runPlain(const QString &sql)
{
    const DeadlineGuard::Watch watch(&m_guard, statementLimit(m_target.limits, 0));
    QtSqlDriver::runPlain(sql);
}

QVariant QtSqlServerDriver::plainValue(const QString &sql)
{
    const DeadlineGuard::Watch watch(&m_guard, statementLimit(m_target.limits, 0));
    QSqlQuery query(database());
    if (!query.exec(sql))
        throw fault(sql, query.lastError());
    return query.next() ? query.value(0) : QVariant();
}

/// Not prepared: the server forgets the warnings when a statement is prepared or reset.
QList<LenientSession::Warning> QtSqlServerDriver::warnings(const QString &query)
{
    const DeadlineGuard::Watch watch(&m_guard, statementLimit(m_target.limits, 0));
    QSqlQuery result(database());
    if (!result.exec(query))
        throw fault(query, result.lastError());
    QList<LenientSession::Warning> warnings;
    while (result.next())
        warnings += {result.value(0).toString(), result.value(1).toInt(), result.value(2).toString()};
    return warnings;
}

QList<NameResolver::Column> QtSqlServerDriver::columnsOf(const QString &lowerCaseTable)
{
    if (m_dialect->columnsQuery().isEmpty())
        return {};
    if (!m_columnsQuery)
        m_columnsQuery = std::make_unique<QtSqlStatement>(*this, database(), m_dialect->columnsQuery());
    m_columnsQuery->execute({lowerCaseTable});
    QList<NameResolver::Column> columns;
    while (m_columnsQuery->next())
        columns += {m_columnsQuery->value(0).toString(), m_columnsQuery->value(1).toString(),
                    m_columnsQuery->value(2).toInt()};
    m_columnsQuery->finish();
    return columns;
}
