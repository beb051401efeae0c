#include "database/Recordset.h"

using namespace Qt::StringLiterals;

void Recordset::open(const QString &query, const QVariantList &values)
{
    close();
    m_snapshot = m_connection.query(query, values);
    if (!m_snapshot.columns.isEmpty())
        m_recordCount = static_cast<int>(m_snapshot.values.size() / size_t(m_snapshot.columns.size()));
}

QVariant Recordset::value(QLatin1String column) const
{
    Q_ASSERT(!atEnd());
    const qsizetype at = indexOf(column);
    return at < 0 || valueAt(m_row, at).isNull() ? QVariant() : valueAt(m_row, at);
}

qsizetype Recordset::indexOf(QAnyStringView column) const
{
    for (qsizetype i = 0; i < m_snapshot.columns.size(); ++i) {
        if (QAnyStringView::compare(m_snapshot.columns[i], column, Qt::CaseInsensitive) == 0)
            return i;
    }
    return -1;
}

void Recordset::openForAppend(const QString &table, const QString &identityColumn)
{
    close();
    m_written.table = table;
    m_written.identityColumn = identityColumn;
}

void Recordset::openForUpdate(const QString &table, const QString &condition, const QVariantList &values,
                              const QString &keyColumn)
{
    open("select * from "_L1 + table + " where "_L1 + condition, values);
    m_written.table = table;
    m_written.condition = condition;
    m_written.conditionValues = values;
    m_written.keyColumn = keyColumn;
}

void Recordset::addNew()
{
    m_written.isNew = true;
    m_written.setCount = 0;
}

void Recordset::set(QLatin1String column, const QVariant &value)
{
    if (m_written.setCount == m_written.columns.size() || m_written.columns[m_written.setCount] != column) {
        // Another set of columns than in the row before: what comes behind is forgotten.
        m_written.columns.resize(m_written.setCount);
        m_written.values.resize(m_written.setCount);
        m_written.columns.append(QString(column));
        m_written.values.append(value);
        m_written.insertText.clear();
    } else {
        m_written.values[m_written.setCount] = value;
    }
    ++m_written.setCount;
}

void Recordset::update()
{
    if (m_written.setCount != m_written.columns.size()) {
        m_written.columns.resize(m_written.setCount);
        m_written.values.resize(m_written.setCount);
        m_written.insertText.clear();
    }
    if (!m_written.isNew) {
        Q_ASSERT(m_row == 0 && m_recordCount > 0);
        if (const QVariant key = m_recordCount > 1 ? keyOfFirstRow() : QVariant(); !key.isNull())
            m_connection.updateFirstRow(m_written.table, assignments(),
                                        u"%1 and %2=?"_s.arg(m_written.condition, m_written.keyColumn),
                                        m_written.values, m_written.conditionValues + QVariantList{key}, 1);
        else
            m_connection.updateFirstRow(m_written.table, assignments(), m_written.condition, m_written.values,
                                        m_written.conditionValues, m_recordCount);
        m_written.setCount = 0;
        return;
    }
    if (m_written.insertText.isEmpty())
        m_written.insertText = insertText();
    if (m_written.identityColumn.isEmpty())
        m_connection.insert(m_written.insertText, m_written.values);
    else
        m_written.identity = m_connection.insertForIdentity(m_written.table, m_written.insertText,
                                                            m_written.values, m_written.identityColumn);
}

QVariant Recordset::keyOfFirstRow() const
{
    const qsizetype column = indexOf(m_written.keyColumn);
    if (column < 0)
        return {};
    const QVariant &key = valueAt(0, column);
    for (int row = 1; row < m_recordCount; ++row) {
        if (valueAt(row, column) == key)
            return {};
    }
    return key;
}

QString Recordset::insertText() const
{
    QStringList marks;
    marks.fill(u"?"_s, m_written.columns.size());
    return "insert into "_L1 + m_written.table + " ("_L1 + m_written.columns.join(", "_L1) + ") values ("_L1 +
           marks.join(", "_L1) + u')';
}

QString Recordset::assignments() const
{
    return m_written.columns.join("=?, "_L1) + "=?"_L1;
}

void Recordset::close()
{
    m_snapshot = {};
    m_recordCount = 0;
    m_row = 0;
    m_written = {};
}
