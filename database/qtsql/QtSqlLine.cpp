#include "database/qtsql/QtSqlLine.h"

#include <QSqlQuery>
#include <QUuid>

using namespace Qt::StringLiterals;

QtSqlLine::QtSqlLine(const QString &qtDriver)
    : m_connectionName("sms-"_L1 + QUuid::createUuid().toString(QUuid::WithoutBraces))
{
    QSqlDatabase::addDatabase(qtDriver, m_connectionName);
}

QtSqlLine::~QtSqlLine()
{
    database().close();
    QSqlDatabase::removeDatabase(m_connectionName);
}

QSqlDatabase QtSqlLine::database() const
{
    return QSqlDatabase::database(m_connectionName, false);
}

void QtSqlLine::exec(const QString &sql) const
{
    QSqlQuery query(database());
    if (!query.exec(sql))
        throw fault(sql, query.lastError());
}

QString QtSqlLine::described(const QString &what, const QSqlError &error)
{
    return what.left(shownSqlLength) + u"："_s + causeOf(error);
}

QString QtSqlLine::causeOf(const QSqlError &error)
{
    QString cause = error.databaseText().isEmpty() ? error.driverText() : error.databaseText();
    // What is in the lines below can be the values of the statement.
    cause = cause.section(u'\n', 0, 0).trimmed();
    if (!error.nativeErrorCode().isEmpty())
        cause += " ["_L1 + error.nativeErrorCode() + u']';
    return cause;
}
