#include "database/native/MariaDbStatement.h"

#include "database/driver/BoundValue.h"

using namespace Qt::StringLiterals;

namespace
{

/// What a parameter points to while the statement is executed.
struct Parameter {
    qint64 number = 0;
    QByteArray octets;
};

MYSQL_BIND bound(const QVariant &value, Parameter &parameter)
{
    MYSQL_BIND bind{};
    switch (value.isNull() ? QMetaType::UnknownType : value.typeId()) {
    case QMetaType::UnknownType:
        bind.buffer_type = MYSQL_TYPE_NULL;
        break;
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
        parameter.number = value.toLongLong();
        bind.buffer_type = MYSQL_TYPE_LONGLONG;
        bind.buffer = &parameter.number;
        break;
    default:
        const bool isBinary = value.typeId() == QMetaType::QByteArray;
        parameter.octets = isBinary ? value.toByteArray() : value.toString().toUtf8();
        bind.buffer_type = isBinary ? MYSQL_TYPE_BLOB : MYSQL_TYPE_STRING;
        bind.buffer = parameter.octets.data();
        bind.buffer_length = static_cast<unsigned long>(parameter.octets.size());
    }
    return bind;
}

ColumnKind kindOf(const MYSQL_FIELD &column)
{
    constexpr unsigned int binarySet = 63;
    switch (column.type) {
    case MYSQL_TYPE_TINY:
    case MYSQL_TYPE_SHORT:
    case MYSQL_TYPE_LONG:
    case MYSQL_TYPE_INT24:
    case MYSQL_TYPE_LONGLONG:
    case MYSQL_TYPE_YEAR:
    case MYSQL_TYPE_DECIMAL:
    case MYSQL_TYPE_NEWDECIMAL:
        return ColumnKind::Number;
    case MYSQL_TYPE_FLOAT:
    case MYSQL_TYPE_DOUBLE:
        return ColumnKind::Fraction;
    case MYSQL_TYPE_DATE:
    case MYSQL_TYPE_NEWDATE:
        return ColumnKind::Date;
    case MYSQL_TYPE_DATETIME:
    case MYSQL_TYPE_TIMESTAMP:
        return ColumnKind::DateTime;
    default:
        return column.charsetnr == binarySet && column.type != MYSQL_TYPE_TIME ? ColumnKind::Octets
                                                                               : ColumnKind::Text;
    }
}

/// A column's value, which the library gives as text.
QVariant valueOf(const MYSQL_FIELD &column, const QByteArray &octets)
{
    if (column.type == MYSQL_TYPE_BIT) {
        qint64 number = 0;
        for (const char octet : octets)
            number = number * 256 + static_cast<unsigned char>(octet);
        return number;
    }
    const ColumnKind kind = kindOf(column);
    return kind == ColumnKind::Octets ? QVariant(octets) : columnValue(kind, QString::fromUtf8(octets));
}

} // namespace

MariaDbStatement::MariaDbStatement(const ServerDriver &driver, MYSQL *connection, QString sql,
                                   const QString &spelled)
    : m_driver(driver), m_sql(std::move(sql)), m_statement(mysql_stmt_init(connection))
{
    const QByteArray text = spelled.toUtf8();
    require(mysql_stmt_prepare(m_statement.get(), text.constData(),
                               static_cast<unsigned long>(text.size())) == 0);
}

void MariaDbStatement::execute(const QVariantList &values)
{
    finish();
    std::vector<Parameter> parameters(static_cast<size_t>(values.size()));
    std::vector<MYSQL_BIND> binds;
    for (const QVariant &value : values)
        binds.push_back(bound(value, parameters[binds.size()]));
    if (!binds.empty())
        require(mysql_stmt_bind_param(m_statement.get(), binds.data()) == 0);
    require(mysql_stmt_execute(m_statement.get()) == 0);
    // As they are now: the table may have been altered since the statement was prepared.
    m_columns.reset(mysql_stmt_result_metadata(m_statement.get()));
    if (m_columns)
        bindResult();
    m_affectedRows = static_cast<qint64>(mysql_stmt_affected_rows(m_statement.get()));
}

/// The whole result is taken at once; the length of each value is known when its row is.
void MariaDbStatement::bindResult()
{
    m_result.assign(mysql_num_fields(m_columns.get()), MYSQL_BIND{});
    for (unsigned int column = 0; column < m_result.size(); ++column) {
        MYSQL_BIND &bind = m_result[column];
        bind.buffer_type = mysql_fetch_field_direct(m_columns.get(), column)->type == MYSQL_TYPE_BIT
                               ? MYSQL_TYPE_BLOB
                               : MYSQL_TYPE_STRING;
        bind.length = &bind.length_value;
        bind.is_null = &bind.is_null_value;
    }
    require(mysql_stmt_bind_result(m_statement.get(), m_result.data()) == 0);
    require(mysql_stmt_store_result(m_statement.get()) == 0);
}

bool MariaDbStatement::next()
{
    if (!m_columns)
        return false;
    const int result = mysql_stmt_fetch(m_statement.get());
    if (result == MYSQL_NO_DATA)
        return false;
    require(result == 0 || result == MYSQL_DATA_TRUNCATED);
    m_row.clear();
    for (unsigned int column = 0; column < m_result.size(); ++column)
        m_row += fetched(column);
    return true;
}

QVariant MariaDbStatement::fetched(unsigned int column)
{
    const MYSQL_BIND &bound = m_result[column];
    if (*bound.is_null != 0)
        return {};
    QByteArray octets(static_cast<qsizetype>(*bound.length), Qt::Uninitialized);
    MYSQL_BIND bind{};
    bind.buffer_type = bound.buffer_type;
    bind.buffer = octets.data();
    bind.buffer_length = static_cast<unsigned long>(octets.size());
    if (!octets.isEmpty())
        require(mysql_stmt_fetch_column(m_statement.get(), &bind, column, 0) == 0);
    return valueOf(*mysql_fetch_field_direct(m_columns.get(), column), octets);
}

QStringList MariaDbStatement::columnNames() const
{
    QStringList names;
    for (unsigned int column = 0; m_columns && column < mysql_num_fields(m_columns.get()); ++column)
        names += QString::fromUtf8(mysql_fetch_field_direct(m_columns.get(), column)->name);
    return names;
}

QVariant MariaDbStatement::lastIdentity() const
{
    const auto identity = static_cast<qint64>(mysql_stmt_insert_id(m_statement.get()));
    return identity == 0 ? QVariant() : QVariant(identity);
}

void MariaDbStatement::finish() noexcept
{
    if (m_columns)
        mysql_stmt_free_result(m_statement.get());
    m_columns.reset();
    m_row.clear();
}

void MariaDbStatement::require(bool isDone)
{
    if (isDone)
        return;
    throw m_driver.fault(m_sql, {{}, static_cast<int>(mysql_stmt_errno(m_statement.get()))},
                         QString::fromUtf8(mysql_stmt_error(m_statement.get())));
}
