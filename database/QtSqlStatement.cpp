#include "database/QtSqlStatement.h"

#include "database/BoundValue.h"

#include <QElapsedTimer>
#include <QSqlRecord>

QtSqlStatement::QtSqlStatement(QtSqlDriver &driver, const QSqlDatabase &database, const QString &sql)
    : m_driver(driver), m_query(database), m_sql(sql)
{
    m_query.setForwardOnly(driver.readsRowByRow());
    if (!m_query.prepare(sql))
        throw driver.fault(m_sql, m_query.lastError());
}

void QtSqlStatement::execute(const QVariantList &values)
{
    for (qsizetype i = 0; i < values.size(); ++i) {
        // Left alone, a date-time would be stored with a "T" and milliseconds, and a null text as NULL.
        const int type = values[i].typeId();
        const bool isFit = type != QMetaType::QDateTime && type != QMetaType::QString;
        m_query.bindValue(static_cast<int>(i), isFit ? values[i] : boundValue(values[i], QChar()));
    }
    QElapsedTimer timer;
    timer.start();
    if (!m_query.exec()) {
        const DatabaseFault fault = m_driver.fault(m_sql, m_query.lastError());
        m_query.finish();
        throw fault;
    }
    if (!m_query.isSelect())
        m_driver.hasWritten(timer.nsecsElapsed());
}

bool QtSqlStatement::next()
{
    if (m_query.next())
        return true;
    if (m_query.lastError().isValid())
        throw m_driver.fault(m_sql, m_query.lastError());
    return false;
}

QStringList QtSqlStatement::columnNames() const
{
    const QSqlRecord record = m_query.record();
    QStringList names;
    for (int i = 0; i < record.count(); ++i)
        names += record.fieldName(i);
    return names;
}
