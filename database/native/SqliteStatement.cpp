#include "database/native/SqliteStatement.h"

#include "database/driver/BoundValue.h"
#include "database/native/SqliteDriver.h"

#include <utility>

SqliteStatement::SqliteStatement(SqliteDriver &driver, sqlite3 *database, const QString &sql)
    : m_driver(driver), m_database(database), m_sql(sql)
{
    const QByteArray text = sql.toUtf8();
    sqlite3_stmt *statement = nullptr;
    if (sqlite3_prepare_v2(database, text.constData(), static_cast<int>(text.size()), &statement, nullptr) !=
        SQLITE_OK)
        throw driver.fault(sql);
    m_statement.reset(statement);
}

void SqliteStatement::execute(const QVariantList &values)
{
    finish();
    for (int i = 0; i < values.size(); ++i)
        bind(i + 1, boundValue(values[i], QChar()));
    const auto began = std::chrono::steady_clock::now();
    step();
    m_isFirst = m_hasRow;
    m_affectedRows = sqlite3_changes(m_database);
    if (sqlite3_stmt_readonly(m_statement.get()) == 0)
        m_driver.hasWritten(std::chrono::steady_clock::now() - began);
}

void SqliteStatement::bind(int position, const QVariant &value)
{
    sqlite3_stmt *statement = m_statement.get();
    switch (value.isNull() ? QMetaType::UnknownType : value.typeId()) {
    case QMetaType::UnknownType:
        sqlite3_bind_null(statement, position);
        break;
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
        sqlite3_bind_int64(statement, position, value.toLongLong());
        break;
    case QMetaType::QByteArray:
        m_bound += value.toByteArray();
        sqlite3_bind_blob64(statement, position, m_bound.last().constData(),
                            static_cast<quint64>(m_bound.last().size()), SQLITE_STATIC);
        break;
    default:
        m_bound += value.toString().toUtf8();
        sqlite3_bind_text64(statement, position, m_bound.last().constData(),
                            static_cast<quint64>(m_bound.last().size()), SQLITE_STATIC, SQLITE_UTF8);
    }
}

void SqliteStatement::step()
{
    const int result = sqlite3_step(m_statement.get());
    m_hasRow = result == SQLITE_ROW;
    if (m_hasRow)
        return;
    const bool isDone = result == SQLITE_DONE && sqlite3_reset(m_statement.get()) == SQLITE_OK;
    if (isDone)
        return;
    const DatabaseFault fault = m_driver.fault(m_sql);
    sqlite3_reset(m_statement.get());
    throw fault;
}

void SqliteStatement::finish() noexcept
{
    sqlite3_reset(m_statement.get());
    sqlite3_clear_bindings(m_statement.get());
    m_bound.clear();
    m_hasRow = false;
}

bool SqliteStatement::next()
{
    if (m_hasRow && !std::exchange(m_isFirst, false))
        step();
    return m_hasRow;
}

QVariant SqliteStatement::value(int column) const
{
    sqlite3_stmt *statement = m_statement.get();
    switch (sqlite3_column_type(statement, column)) {
    case SQLITE_NULL:
        return {};
    case SQLITE_INTEGER:
        return qlonglong(sqlite3_column_int64(statement, column));
    case SQLITE_FLOAT:
        return sqlite3_column_double(statement, column);
    case SQLITE_BLOB: {
        const auto *octets = static_cast<const char *>(sqlite3_column_blob(statement, column));
        return QByteArray("").append(QByteArrayView(octets, sqlite3_column_bytes(statement, column)));
    }
    default: {
        // Not as UTF-8: Qt takes a byte order mark off its start.
        const auto *units = static_cast<const QChar *>(sqlite3_column_text16(statement, column));
        return QString(units, sqlite3_column_bytes16(statement, column) / qsizetype(sizeof(QChar)));
    }
    }
}

QStringList SqliteStatement::columnNames() const
{
    QStringList names;
    for (int column = 0; column < sqlite3_column_count(m_statement.get()); ++column)
        names += QString::fromUtf8(sqlite3_column_name(m_statement.get(), column));
    return names;
}
