#include "platform/database/QtSqlDriver.h"

#include <QSqlQuery>
#include <QSqlRecord>
#include <QUuid>

using namespace Qt::StringLiterals;

namespace
{

/// Enough of a statement to recognise it in a fault's text.
constexpr int shownSqlLength = 120;

class QtSqlStatement final : public Statement
{
public:
    QtSqlStatement(const QtSqlDriver &driver, const QSqlDatabase &database, const QString &sql)
        : m_driver(driver), m_query(database), m_sql(sql)
    {
        m_query.setForwardOnly(true);
        if (!m_query.prepare(sql))
            throw driver.fault(m_sql, m_query.lastError());
    }

    void execute(const QVariantList &values) override
    {
        for (qsizetype i = 0; i < values.size(); ++i)
            m_query.bindValue(static_cast<int>(i), values[i]);
        if (!m_query.exec()) {
            const DatabaseFault fault = m_driver.fault(m_sql, m_query.lastError());
            m_query.finish();
            throw fault;
        }
    }

    bool next() override
    {
        if (m_query.next())
            return true;
        if (m_query.lastError().isValid())
            throw m_driver.fault(m_sql, m_query.lastError());
        return false;
    }

    QVariant value(int column) const override { return m_query.value(column); }

    QStringList columnNames() const override
    {
        const QSqlRecord record = m_query.record();
        QStringList names;
        for (int i = 0; i < record.count(); ++i)
            names += record.fieldName(i);
        return names;
    }

    qint64 affectedRows() const override { return m_query.numRowsAffected(); }
    void finish() noexcept override { m_query.finish(); }
    QVariant lastInsertId() const { return m_query.lastInsertId(); }

private:
    const QtSqlDriver &m_driver;
    QSqlQuery m_query;
    QString m_sql;
};

} // namespace

QtSqlDriver::QtSqlDriver(const QString &qtDriver)
    : m_connectionName("sms-"_L1 + QUuid::createUuid().toString(QUuid::WithoutBraces))
{
    QSqlDatabase::addDatabase(qtDriver, m_connectionName);
}

QtSqlDriver::~QtSqlDriver()
{
    database().close();
    QSqlDatabase::removeDatabase(m_connectionName);
}

QSqlDatabase QtSqlDriver::database() const
{
    return QSqlDatabase::database(m_connectionName, false);
}

std::unique_ptr<Statement> QtSqlDriver::prepare(const QString &sql)
{
    return std::make_unique<QtSqlStatement>(*this, database(), sql);
}

void QtSqlDriver::runPlain(const QString &sql)
{
    QSqlQuery query(database());
    if (!query.exec(sql))
        throw fault(sql, query.lastError());
}

void QtSqlDriver::begin()
{
    runPlain(u"BEGIN"_s);
}

void QtSqlDriver::commit()
{
    runPlain(u"COMMIT"_s);
}

void QtSqlDriver::rollback() noexcept
{
    // Whether it succeeds changes nothing: a transaction that cannot be rolled back is gone with its
    // connection.
    QSqlQuery(database()).exec(u"ROLLBACK"_s);
}

QString QtSqlDriver::returningClause(const QString &) const
{
    return {};
}

QVariant QtSqlDriver::lastIdentity(Statement &insert)
{
    return static_cast<QtSqlStatement &>(insert).lastInsertId();
}

DatabaseFault QtSqlDriver::fault(const QString &what, const QSqlError &error) const
{
    QString cause = error.databaseText().isEmpty() ? error.driverText() : error.databaseText();
    if (!error.nativeErrorCode().isEmpty())
        cause += " ["_L1 + error.nativeErrorCode() + u']';
    return {kindOf(error), what.left(shownSqlLength) + u"："_s + cause};
}
