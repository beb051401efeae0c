#include "platform/database/OdbcStatement.h"

#include "platform/database/BoundValue.h"
#include "platform/database/OdbcDriver.h"

#include <QDateTime>
#include <array>

using namespace Qt::StringLiterals;

namespace
{

/// Longest text that is bound as a short one; SQL Server's nvarchar ends here.
constexpr qsizetype shortTextLength = 4000;
constexpr size_t shortBinaryLength = 8000;
/// First piece of a long value; the rest follows in pieces of their known size.
constexpr size_t pieceOctets = 8192;

QVariant dateTimeValue(const SQL_TIMESTAMP_STRUCT &stamp)
{
    constexpr int nanosecondsPerMillisecond = 1000000;
    const QDate date(stamp.year, stamp.month, stamp.day);
    const QTime time(stamp.hour, stamp.minute, stamp.second,
                     static_cast<int>(stamp.fraction / nanosecondsPerMillisecond));
    return date.isValid() && time.isValid() ? QVariant(QDateTime(date, time)) : QVariant();
}

QString withoutPadding(QString text)
{
    while (text.endsWith(u' '))
        text.chop(1);
    return text;
}

} // namespace

OdbcStatement::OdbcStatement(OdbcDriver &driver, const QString &sql, const QString &spelled)
    : m_driver(driver), m_sql(sql), m_handle(SQL_HANDLE_STMT, driver.connectionHandle())
{
    const auto watch = driver.watch(0);
    check(SQLPrepareW(m_handle.get(), odbcText(spelled), static_cast<SQLINTEGER>(spelled.size())));
}

OdbcStatement::~OdbcStatement() = default;

void OdbcStatement::execute(const QVariantList &values)
{
    const qint64 payload = payloadOctets(values);
    m_driver.requireCarriable(payload);
    m_values.clear();
    for (const QVariant &value : values)
        m_values += boundValue(value, m_driver.dialect().replacementForNul());
    m_parameters.assign(static_cast<size_t>(m_values.size()), {});
    for (qsizetype i = 0; i < m_values.size(); ++i)
        bind(static_cast<SQLUSMALLINT>(i + 1), m_values[i], m_parameters[static_cast<size_t>(i)]);
    const auto watch = m_driver.watch(payload);
    const SQLRETURN result = SQLExecute(m_handle.get());
    // An UPDATE or DELETE that found no row says so here.
    if (result != SQL_NO_DATA) {
        try {
            check(result);
        } catch (const DatabaseFault &fault) {
            finish();
            throw m_driver.explained(fault, m_sql, values);
        }
    }
    findResult();
}

void OdbcStatement::bind(SQLUSMALLINT position, const QVariant &value, Parameter &parameter)
{
    SQLSMALLINT cType = SQL_C_WCHAR;
    SQLSMALLINT sqlType = SQL_WVARCHAR;
    SQLULEN columnSize = 1;
    const void *data = nullptr;
    if (value.typeId() == QMetaType::QByteArray) {
        // Also a null one: SQL Server turns no null text into a null binary.
        const QByteArray bytes = value.toByteArray();
        cType = SQL_C_BINARY;
        sqlType = static_cast<size_t>(bytes.size()) > shortBinaryLength ? SQL_LONGVARBINARY : SQL_VARBINARY;
        columnSize = qMax<SQLULEN>(1, static_cast<SQLULEN>(bytes.size()));
        data = bytes.constData(); // shared with m_values, which keeps it
        parameter.length = bytes.size();
    } else if (value.isNull()) {
        // A null of any other kind.
    } else if (value.typeId() == QMetaType::Int || value.typeId() == QMetaType::LongLong ||
               value.typeId() == QMetaType::UInt) {
        cType = SQL_C_SBIGINT;
        sqlType = SQL_BIGINT;
        columnSize = 20;
        parameter.number = value.toLongLong();
        data = &parameter.number;
    } else if (value.typeId() == QMetaType::Double) {
        cType = SQL_C_DOUBLE;
        sqlType = SQL_DOUBLE;
        columnSize = 15;
        parameter.fraction = value.toDouble();
        data = &parameter.fraction;
    } else {
        QVariant &text = m_values[position - 1];
        if (text.typeId() != QMetaType::QString)
            text = text.toString();
        const auto *units = static_cast<const QString *>(text.constData());
        sqlType = units->size() > shortTextLength ? SQL_WLONGVARCHAR : SQL_WVARCHAR;
        columnSize = qMax<SQLULEN>(1, static_cast<SQLULEN>(units->size()));
        data = units->utf16();
        parameter.length = units->size() * qsizetype(sizeof(SQLWCHAR));
    }
    const SQLLEN bufferLength = parameter.length;
    if (value.isNull())
        parameter.length = SQL_NULL_DATA;
    check(SQLBindParameter(m_handle.get(), position, SQL_PARAM_INPUT, cType, sqlType, columnSize, 0,
                           const_cast<SQLPOINTER>(data), bufferLength, &parameter.length));
}

/// Steps over the counts that a statement and its triggers leave behind, to the first result with columns or
/// to the end. The statement's own count comes last.
void OdbcStatement::findResult()
{
    m_affectedRows = 0;
    for (;;) {
        SQLSMALLINT columns = 0;
        check(SQLNumResultCols(m_handle.get(), &columns));
        m_hasResult = columns > 0;
        if (m_hasResult) {
            describeColumns(columns);
            return;
        }
        SQLLEN rows = -1;
        if (SQL_SUCCEEDED(SQLRowCount(m_handle.get(), &rows)) && rows >= 0)
            m_affectedRows = rows;
        const SQLRETURN more = SQLMoreResults(m_handle.get());
        if (more == SQL_NO_DATA)
            return;
        check(more);
    }
}

void OdbcStatement::describeColumns(SQLSMALLINT count)
{
    if (m_columnNames.size() == count)
        return;
    m_columnNames.clear();
    m_columnTypes.clear();
    for (SQLSMALLINT column = 1; column <= count; ++column) {
        std::array<SQLWCHAR, 256> name{};
        SQLSMALLINT type = 0;
        check(SQLDescribeColW(m_handle.get(), static_cast<SQLUSMALLINT>(column), name.data(),
                              static_cast<SQLSMALLINT>(name.size()), nullptr, &type, nullptr, nullptr,
                              nullptr));
        m_columnNames += QString::fromUtf16(reinterpret_cast<const char16_t *>(name.data()));
        m_columnTypes.push_back(type);
    }
}

bool OdbcStatement::next()
{
    if (!m_hasResult)
        return false;
    const auto watch = m_driver.watch(0);
    const SQLRETURN result = SQLFetch(m_handle.get());
    if (result == SQL_NO_DATA)
        return false;
    check(result);
    // In order: some drivers give no column twice and none out of turn.
    m_row.resize(m_columnTypes.size());
    for (size_t column = 0; column < m_columnTypes.size(); ++column)
        m_row[column] = fetched(static_cast<SQLUSMALLINT>(column + 1), m_columnTypes[column]);
    return true;
}

QVariant OdbcStatement::fetched(SQLUSMALLINT column, SQLSMALLINT type)
{
    SQLLEN indicator = 0;
    switch (type) {
    case SQL_BIT:
    case SQL_TINYINT:
    case SQL_SMALLINT:
    case SQL_INTEGER:
    case SQL_BIGINT: {
        SQLBIGINT number = 0;
        check(SQLGetData(m_handle.get(), column, SQL_C_SBIGINT, &number, sizeof number, &indicator));
        return indicator == SQL_NULL_DATA ? QVariant() : QVariant(qlonglong(number));
    }
    case SQL_REAL:
    case SQL_FLOAT:
    case SQL_DOUBLE: {
        double number = 0;
        check(SQLGetData(m_handle.get(), column, SQL_C_DOUBLE, &number, sizeof number, &indicator));
        return indicator == SQL_NULL_DATA ? QVariant() : QVariant(number);
    }
    case SQL_TYPE_DATE:
    case SQL_TYPE_TIMESTAMP: {
        SQL_TIMESTAMP_STRUCT stamp{};
        check(SQLGetData(m_handle.get(), column, SQL_C_TYPE_TIMESTAMP, &stamp, sizeof stamp, &indicator));
        return indicator == SQL_NULL_DATA ? QVariant() : dateTimeValue(stamp);
    }
    case SQL_BINARY:
    case SQL_VARBINARY:
    case SQL_LONGVARBINARY:
        return fetchedLong(column, SQL_C_BINARY);
    case SQL_DECIMAL:
    case SQL_NUMERIC: {
        const QVariant text = fetchedLong(column, SQL_C_WCHAR);
        bool isWhole = false;
        const qlonglong whole = text.toString().toLongLong(&isWhole);
        return isWhole ? QVariant(whole) : text;
    }
    case SQL_CHAR:
    case SQL_WCHAR: {
        const QVariant text = fetchedLong(column, SQL_C_WCHAR);
        return text.isNull() ? text : withoutPadding(text.toString());
    }
    default:
        return fetchedLong(column, SQL_C_WCHAR);
    }
}

QVariant OdbcStatement::fetchedLong(SQLUSMALLINT column, SQLSMALLINT cType)
{
    const bool isText = cType == SQL_C_WCHAR;
    // A text's piece ends with a NUL that is not part of it.
    const size_t endOctets = isText ? sizeof(SQLWCHAR) : 0;
    std::array<char, pieceOctets> first; // not cleared: one for every value read
    QByteArray octets;
    SQLLEN indicator = 0;
    SQLRETURN result =
        SQLGetData(m_handle.get(), column, cType, first.data(), SQLLEN(first.size()), &indicator);
    if (result == SQL_NO_DATA)
        return isText ? QVariant(u""_s) : QVariant(QByteArray(""));
    check(result);
    if (indicator == SQL_NULL_DATA)
        return {};
    const size_t room = first.size() - endOctets;
    const auto taken = [](SQLLEN told, size_t space) {
        return told == SQL_NO_TOTAL || size_t(told) > space ? space : size_t(told);
    };
    const size_t firstTaken = taken(indicator, room);
    if (isText && firstTaken == size_t(indicator))
        return QString(reinterpret_cast<const QChar *>(first.data()), qsizetype(firstTaken / sizeof(QChar)));
    octets.append(first.data(), qsizetype(firstTaken));
    while (result == SQL_SUCCESS_WITH_INFO && (indicator == SQL_NO_TOTAL || size_t(indicator) > room)) {
        const size_t wanted = indicator == SQL_NO_TOTAL ? pieceOctets : size_t(indicator) - room + endOctets;
        const qsizetype start = octets.size();
        octets.resize(start + qsizetype(wanted));
        result = SQLGetData(m_handle.get(), column, cType, octets.data() + start, SQLLEN(wanted), &indicator);
        if (result == SQL_NO_DATA) {
            octets.resize(start);
            break;
        }
        check(result);
        const size_t space = wanted - endOctets;
        octets.resize(start + qsizetype(taken(indicator, space)));
        if (indicator != SQL_NO_TOTAL && size_t(indicator) <= space)
            break;
        if (indicator != SQL_NO_TOTAL)
            indicator = indicator - SQLLEN(space) + SQLLEN(room); // what is left, as the loop counts it
    }
    if (!isText)
        return octets;
    return QString(reinterpret_cast<const QChar *>(octets.constData()),
                   octets.size() / qsizetype(sizeof(QChar)));
}

void OdbcStatement::finish() noexcept
{
    SQLFreeStmt(m_handle.get(), SQL_CLOSE);
    m_hasResult = false;
}

void OdbcStatement::check(SQLRETURN result)
{
    if (!SQL_SUCCEEDED(result))
        throw m_driver.fault(m_sql, m_handle);
}
