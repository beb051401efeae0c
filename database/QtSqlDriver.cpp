#include "database/QtSqlDriver.h"

#include "database/QtSqlStatement.h"

#include <QSqlQuery>
#include <QUuid>

using namespace Qt::StringLiterals;

namespace
{

/// Enough of a statement to recognise it in a fault's text.
constexpr int shownSqlLength = 120;

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
    // Whether it succeeds changes nothing: a transaction that cannot be
    // rolled back is gone with its connection.
    QSqlQuery(database()).exec(u"ROLLBACK"_s);
}

void QtSqlDriver::setSavepoint(const QString &name)
{
    runPlain("SAVEPOINT "_L1 + name);
}

void QtSqlDriver::releaseSavepoint(const QString &name)
{
    runPlain("RELEASE SAVEPOINT "_L1 + name);
}

void QtSqlDriver::rollbackToSavepoint(const QString &name)
{
    runPlain("ROLLBACK TO SAVEPOINT "_L1 + name);
}

QString QtSqlDriver::identityInsert(const QString &insert, const QString &) const
{
    return insert;
}

QVariant QtSqlDriver::lastIdentity(Statement &insert, const QString &, const QString &)
{
    return static_cast<QtSqlStatement &>(insert).lastInsertId();
}

QString QtSqlDriver::causeOf(const QSqlError &error)
{
    QString cause = error.databaseText().isEmpty() ? error.driverText() : error.databaseText();
    // What is in the lines below can be the values of the statement.
    cause = cause.section(u'\n', 0, 0).trimmed();
    if (!error.nativeErrorCode().isEmpty())
        cause += " ["_L1 + error.nativeErrorCode() + u']';
    return cause;
}

DatabaseFault QtSqlDriver::fault(const QString &what, const QSqlError &error) const
{
    return {kindOf(error), what.left(shownSqlLength) + u"："_s + causeOf(error)};
}
