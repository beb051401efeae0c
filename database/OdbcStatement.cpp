#include "database/OdbcStatement.h"

#include "database/BoundValue.h"
#include "database/OdbcDriver.h"

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
    : m_driver(driver), m_sql(sql), m_handle(driver.newStatementHandle())
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
    // ODBC drivers end a text at its NUL.
    for (const QVariant &value : values)
        m_values += boundValue(value, QChar::ReplacementCharacter);
    m_parameters.assign(static_cast<size_t>(m_values.size()), {});
    for (qsizetype i = 0; i < m_values.size(); ++i)
        bind(static_cast<SQLUSMALLINT>(i + 1), m_values[i], m_parameters[static_cast<size_t>(i)]);
    try {
        if (LenientSession &lenient = m_driver.lenientSession(); lenient.concerns(m_sql))
            lenient.run(m_sql, [&] { executeInTime(payload); });
        else
            executeInTime(payload);
    } catch (const DatabaseFault &fault) {
        finish();
        throw m_driver.explained(fault, m_sql, values);
    }
}

void OdbcStatement::executeInTime(qint64 payload)
{
    const auto watch = m_driver.watch(payload);
    const SQLRETURN result = SQLExecute(m_handle.get());
    // An UPDATE or DELETE that found no row says so here.
    if (result != SQL_NO_DATA)
        check(result);
    findResult();
    if (result == SQL_NO_DATA && m_driver.dialect().rowCountQuery().isEmpty())
        m_affectedRows = qMax<qint64>(0, m_affectedRows);
}

void OdbcStatement::bind(SQLUSMALLINT position, const QVariant &value, Parameter &parameter)
{
    SQLSMALLINT cType = SQL_C_WCHAR;
    SQLSMALLINT sqlType = SQL_WVARCHAR;
    SQLULEN columnSize = 1;
    const void *data = nullptr;
    const bool isNull = isNullValue(value);
    if (value.typeId() == QMetaType::QByteArray) {
        // Also a null one: SQL Server turns no null text into a null binary.
        const QByteArray bytes = value.toByteArray();
        cType = SQL_C_BINARY;
        sqlType = static_cast<size_t>(bytes.size()) > shortBinaryLength ? SQL_LONGVARBINARY : SQL_VARBINARY;
        columnSize = qMax<SQLULEN>(1, static_cast<SQLULEN>(bytes.size()));
        data = bytes.constData(); // shared with m_values, which keeps it
        parameter.length = bytes.size();
    } else if (isNull) {
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
        QVariant &kept = m_values[position - 1];
        if (m_driver.dialect().odbcSpeaksUtf8()) {
            kept = kept.toString().toUtf8();
            const auto *octets = static_cast<const QByteArray *>(kept.constData());
            cType = SQL_C_CHAR;
            sqlType = octets->size() > shortTextLength ? SQL_LONGVARCHAR : SQL_VARCHAR;
            columnSize = qMax<SQLULEN>(1, static_cast<SQLULEN>(octets->size()));
            data = octets->constData();
            parameter.length = octets->size();
        } else {
            kept = kept.toString();
            const auto *units = static_cast<const QString *>(kept.constData());
            sqlType = units->size() > shortTextLength ? SQL_WLONGVARCHAR : SQL_WVARCHAR;
            columnSize = qMax<SQLULEN>(1, static_cast<SQLULEN>(units->size()));
            data = units->utf16();
            parameter.length = units->size() * qsizetype(sizeof(SQLWCHAR));
        }
    }
    const SQLLEN bufferLength = parameter.length;
    if (isNull)
        parameter.length = SQL_NULL_DATA;
    check(SQLBindParameter(m_handle.get(), position, SQL_PARAM_INPUT, cType, sqlType, columnSize, 0,
                           const_cast<SQLPOINTER>(data), bufferLength, &parameter.length));
}

/// Steps over the counts that a statement and its triggers leave behind, to the first result with columns or
/// to the end. The statement's own count comes last.
void OdbcStatement::findResult()
{
    m_affectedRows = -1;
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
        return fetchedBytes(column);
    case SQL_DECIMAL:
    case SQL_NUMERIC: {
        const QVariant text = fetchedText(column);
        bool isWhole = false;
        const qlonglong whole = text.toString().toLongLong(&isWhole);
        return isWhole ? QVariant(whole) : text;
    }
    case SQL_CHAR:
    case SQL_WCHAR: {
        const QVariant text = fetchedText(column);
        return text.isNull() ? text : withoutPadding(text.toString());
    }
    default:
        return fetchedText(column);
    }
}

QVariant OdbcStatement::fetchedText(SQLUSMALLINT column)
{
    const bool isUtf8 = m_driver.dialect().odbcSpeaksUtf8();
    // Each piece of a text ends with a NUL that is not part of it.
    const auto octets = isUtf8 ? fetchedOctets(column, SQL_C_CHAR, sizeof(SQLCHAR))
                               : fetchedOctets(column, SQL_C_WCHAR, sizeof(SQLWCHAR));
    if (!octets)
        return {};
    if (isUtf8)
        return QString::fromUtf8(*octets);
    return QString(reinterpret_cast<const QChar *>(octets->constData()),
                   octets->size() / qsizetype(sizeof(QChar)));
}

QVariant OdbcStatement::fetchedBytes(SQLUSMALLINT column)
{
    const auto octets = fetchedOctets(column, SQL_C_BINARY, 0);
    return octets ? QVariant(*octets) : QVariant();
}

std::optional<QByteArray> OdbcStatement::fetchedOctets(SQLUSMALLINT column, SQLSMALLINT cType,
                                                       size_t endOctets)
{
    QByteArray octets("");
    std::array<char, pieceOctets> first; // not cleared: one for every value read
    char *piece = first.data();
    size_t space = first.size() - endOctets;
    for (;;) {
        SQLLEN left = 0; // octets of the value from here on, where the driver knows
        const SQLRETURN result =
            SQLGetData(m_handle.get(), column, cType, piece, SQLLEN(space + endOctets), &left);
        if (result != SQL_NO_DATA)
            check(result);
        if (left == SQL_NULL_DATA)
            return std::nullopt;
        const bool isKnown = left != SQL_NO_TOTAL;
        const size_t taken = result == SQL_NO_DATA ? 0 : isKnown ? qMin(size_t(left), space) : space;
        if (piece == first.data())
            octets.append(piece, qsizetype(taken));
        else
            octets.resize(octets.size() - qsizetype(space + endOctets) + qsizetype(taken));
        if (result == SQL_NO_DATA || (isKnown && size_t(left) <= space))
            return octets;
        space = isKnown ? size_t(left) - taken : pieceOctets;
        const qsizetype start = octets.size();
        octets.resize(start + qsizetype(space + endOctets));
        piece = octets.data() + start;
    }
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
