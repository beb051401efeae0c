#include "database/qtsql/QtSqlStatement.h"

#include "database/driver/BoundValue.h"

#include <QSqlRecord>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{

/// An attachment's worth, which is not kept until the statement is used again.
constexpr qint64 muchOctets = 64LL * 1024;

} // namespace

QtSqlStatement::QtSqlStatement(QtSqlLine &line, const QString &sql, const QString &spelled)
    : m_line(line),
      m_query(line.database()),
      m_sql(sql),
      // Not as Qt sees it: an INSERT that answers with an identity writes all the same.
      m_isQuery(sql.startsWith("select"_L1, Qt::CaseInsensitive))
{
    m_query.setForwardOnly(line.readsRowByRow());
    if (!m_query.prepare(spelled))
        throw line.fault(m_sql, m_query.lastError());
}

void QtSqlStatement::execute(const QVariantList &values)
{
    for (qsizetype i = 0; i < values.size(); ++i)
        m_query.bindValue(static_cast<int>(i), values[i]);
    m_holdsMuch = payloadOctets(values) > muchOctets;
    const auto began = std::chrono::steady_clock::now();
    if (!m_query.exec()) {
        const QSqlError error = m_query.lastError();
        m_query.finish();
        throw m_line.fault(m_sql, error);
    }
    if (!m_isQuery)
        m_line.hasWritten(std::chrono::steady_clock::now() - began);
}

void QtSqlStatement::finish() noexcept
{
    m_query.finish();
    if (!std::exchange(m_holdsMuch, false))
        return;
    const int values = static_cast<int>(m_query.boundValues().size());
    for (int i = 0; i < values; ++i)
        m_query.bindValue(i, QVariant());
}

bool QtSqlStatement::next()
{
    if (m_query.next())
        return true;
    if (m_query.lastError().isValid())
        throw m_line.fault(m_sql, m_query.lastError());
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
