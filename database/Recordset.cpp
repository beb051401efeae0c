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
    m_table = table;
    m_identityColumn = identityColumn;
}

void Recordset::openForUpdate(const QString &table, const QString &condition, const QVariantList &values,
                              const QString &keyColumn)
{
    open("select * from "_L1 + table + " where "_L1 + condition, values);
    m_table = table;
    m_condition = condition;
    m_conditionValues = values;
    m_keyColumn = keyColumn;
}

void Recordset::addNew()
{
    m_isNew = true;
    m_setCount = 0;
}

void Recordset::set(QLatin1String column, const QVariant &value)
{
    if (m_setCount == m_columns.size() || m_columns[m_setCount] != column) {
        // Another set of columns than in the row before: what comes behind is forgotten.
        m_columns.resize(m_setCount);
        m_values.resize(m_setCount);
        m_columns.append(QString(column));
        m_values.append(value);
        m_insertText.clear();
    } else {
        m_values[m_setCount] = value;
    }
    ++m_setCount;
}

void Recordset::update()
{
    if (m_setCount != m_columns.size()) {
        m_columns.resize(m_setCount);
        m_values.resize(m_setCount);
        m_insertText.clear();
    }
    if (!m_isNew) {
        Q_ASSERT(m_row == 0 && m_recordCount > 0);
        if (const QVariant key = m_recordCount > 1 ? keyOfFirstRow() : QVariant(); !key.isNull())
            m_connection.updateFirstRow(m_table, assignments(),
                                        u"%1 and %2=?"_s.arg(m_condition, m_keyColumn), m_values,
                                        m_conditionValues + QVariantList{key}, 1);
        else
            m_connection.updateFirstRow(m_table, assignments(), m_condition, m_values, m_conditionValues,
                                        m_recordCount);
        m_setCount = 0;
        return;
    }
    if (m_insertText.isEmpty())
        m_insertText = insertText();
    if (m_identityColumn.isEmpty())
        m_connection.insert(m_insertText, m_values);
    else
        m_identity = m_connection.insertForIdentity(m_table, m_insertText, m_values, m_identityColumn);
}

QVariant Recordset::keyOfFirstRow() const
{
    const qsizetype column = indexOf(m_keyColumn);
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
    marks.fill(u"?"_s, m_columns.size());
    return "insert into "_L1 + m_table + " ("_L1 + m_columns.join(", "_L1) + ") values ("_L1 +
           marks.join(", "_L1) + u')';
}

QString Recordset::assignments() const
{
    return m_columns.join("=?, "_L1) + "=?"_L1;
}

void Recordset::close()
{
    m_snapshot = {};
    m_recordCount = 0;
    m_row = 0;
    m_isNew = false;
    m_condition.clear();
    m_conditionValues.clear();
    m_table.clear();
    m_identityColumn.clear();
    m_keyColumn.clear();
    m_columns.clear();
    m_values.clear();
    m_setCount = 0;
    m_insertText.clear();
    m_identity = {};
}
