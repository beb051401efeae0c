#include "database/odbc/OdbcStatement.h"

#include "database/odbc/OdbcDriver.h"

#include <algorithm>
#include <array>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{

/// Longest values that are bound as short ones: SQL Server's nvarchar and varbinary end here.
constexpr qsizetype shortTextUnits = 4000;
constexpr qsizetype shortOctets = 8000;
/// A value comes in pieces of this size.
constexpr size_t pieceOctets = 65536;

ColumnKind kindOf(SQLSMALLINT type)
{
    switch (type) {
    case SQL_BIT:
    case SQL_TINYINT:
    case SQL_SMALLINT:
    case SQL_INTEGER:
    case SQL_BIGINT:
    case SQL_DECIMAL:
    case SQL_NUMERIC:
        return ColumnKind::Number;
    case SQL_REAL:
    case SQL_FLOAT:
    case SQL_DOUBLE:
        return ColumnKind::Fraction;
    case SQL_TYPE_DATE:
        return ColumnKind::Date;
    case SQL_TYPE_TIMESTAMP:
        return ColumnKind::DateTime;
    case SQL_BINARY:
    case SQL_VARBINARY:
    case SQL_LONGVARBINARY:
        return ColumnKind::Octets;
    case SQL_CHAR:
    case SQL_WCHAR:
        return ColumnKind::PaddedText;
    default:
        return ColumnKind::Text;
    }
}

} // namespace

OdbcStatement::OdbcStatement(const OdbcDriver &driver, QString sql)
    : m_driver(driver),
      m_dialect(driver.dialect()),
      m_sql(std::move(sql)),
      m_handle(driver.newStatementHandle())
{
}

OdbcStatement::OdbcStatement(const OdbcDriver &driver, const QString &sql, const QString &spelled)
    : OdbcStatement(driver, sql)
{
    check(SQLPrepareW(m_handle.get(), odbcText(spelled), static_cast<SQLINTEGER>(spelled.size())));
}

OdbcStatement::~OdbcStatement() = default;

void OdbcStatement::execute(const QVariantList &values)
{
    m_parameters.resize(static_cast<size_t>(values.size()));
    for (qsizetype i = 0; i < values.size(); ++i)
        set(static_cast<SQLUSMALLINT>(i + 1), values[i], m_parameters[static_cast<size_t>(i)]);
    m_isOpen = false;
    finishExecution(SQLExecute(m_handle.get()));
}

void OdbcStatement::finishExecution(SQLRETURN result)
{
    // An UPDATE or DELETE that found no row says so here.
    if (result != SQL_NO_DATA)
        check(result);
    m_isOpen = true;
    findResult();
    if (result == SQL_NO_DATA && m_dialect.traits().rowCountQuery.isEmpty())
        m_affectedRows = qMax<qint64>(0, m_affectedRows);
}

void OdbcStatement::set(SQLUSMALLINT position, const QVariant &value, Parameter &parameter)
{
    switch (value.typeId()) {
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::UInt:
        parameter.number = value.toLongLong();
        parameter.length = sizeof parameter.number;
        bind(position, Kind::Number, parameter);
        break;
    case QMetaType::QByteArray:
        setOctets(position, value.toByteArray(), false, parameter);
        break;
    default:
        if (isNullValue(value) && parameter.kind != Kind::None) {
            // A null of any kind leaves the parameter as it is.
        } else if (m_dialect.traits().odbcSpeaksUtf8) {
            setOctets(position, value.toString().toUtf8(), true, parameter);
        } else {
            const QString text = value.toString();
            setOctets(position,
                      QByteArray::fromRawData(reinterpret_cast<const char *>(text.constData()),
                                              text.size() * qsizetype(sizeof(QChar))),
                      true, parameter);
        }
    }
    if (isNullValue(value))
        parameter.length = SQL_NULL_DATA;
}

void OdbcStatement::setOctets(SQLUSMALLINT position, const QByteArray &octets, bool isText,
                              Parameter &parameter)
{
    const bool isLong = octets.size() > shortOctets;
    const Kind kind = isText   ? (isLong ? Kind::LongText : Kind::Text)
                      : isLong ? Kind::LongBytes
                               : Kind::Bytes;
    // SQLite's driver takes as many octets as there were when they were bound.
    const bool isBoundAnew = isLong || !isText;
    if (isBoundAnew) {
        parameter.octets = QByteArray(octets.constData(), octets.size());
        parameter.kind = Kind::None;
    } else {
        if (parameter.kind != kind)
            parameter.octets = QByteArray(shortOctets, '\0');
        std::copy(octets.cbegin(), octets.cend(), parameter.octets.data());
    }
    parameter.length = octets.size();
    bind(position, kind, parameter);
    if (isBoundAnew)
        parameter.kind = Kind::None;
}

void OdbcStatement::bind(SQLUSMALLINT position, Kind kind, Parameter &parameter)
{
    if (parameter.kind == kind)
        return;
    void *data = kind == Kind::Number ? static_cast<void *>(&parameter.number) : parameter.octets.data();
    const Form form = formOf(kind, SQLULEN(parameter.octets.size()));
    check(SQLBindParameter(m_handle.get(), position, SQL_PARAM_INPUT, form.cType, form.sqlType,
                           form.columnSize, 0, data, parameter.octets.size(), &parameter.length));
    parameter.kind = kind;
}

OdbcStatement::Form OdbcStatement::formOf(Kind kind, SQLULEN octets) const
{
    const bool isUtf8 = m_dialect.traits().odbcSpeaksUtf8;
    switch (kind) {
    case Kind::Number:
        return {SQL_C_SBIGINT, SQL_BIGINT, 20};
    case Kind::Text:
        return isUtf8 ? Form{SQL_C_CHAR, SQL_VARCHAR, shortOctets}
                      : Form{SQL_C_WCHAR, SQL_WVARCHAR, shortTextUnits};
    case Kind::LongText:
        return isUtf8 ? Form{SQL_C_CHAR, SQL_LONGVARCHAR, octets}
                      : Form{SQL_C_WCHAR, SQL_WLONGVARCHAR, octets / sizeof(SQLWCHAR)};
    case Kind::LongBytes:
        return {SQL_C_BINARY, SQL_LONGVARBINARY, octets};
    case Kind::Bytes:
    case Kind::None:
        break;
    }
    return {SQL_C_BINARY, SQL_VARBINARY, shortOctets};
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
    m_columnKinds.clear();
    for (SQLSMALLINT column = 1; column <= count; ++column) {
        std::array<SQLWCHAR, 256> name{};
        SQLSMALLINT type = 0;
        check(SQLDescribeColW(m_handle.get(), static_cast<SQLUSMALLINT>(column), name.data(),
                              static_cast<SQLSMALLINT>(name.size()), nullptr, &type, nullptr, nullptr,
                              nullptr));
        m_columnNames += QString::fromUtf16(reinterpret_cast<const char16_t *>(name.data()));
        m_columnKinds.push_back(kindOf(type));
    }
}

bool OdbcStatement::next()
{
    if (!m_hasResult)
        return false;
    const SQLRETURN result = SQLFetch(m_handle.get());
    if (result == SQL_NO_DATA)
        return false;
    check(result);
    // In order: some drivers give no column twice and none out of turn.
    m_row.resize(m_columnKinds.size());
    for (size_t column = 0; column < m_columnKinds.size(); ++column)
        m_row[column] = fetched(static_cast<SQLUSMALLINT>(column + 1), m_columnKinds[column]);
    return true;
}

QVariant OdbcStatement::fetched(SQLUSMALLINT column, ColumnKind kind)
{
    const bool isUtf8 = m_dialect.traits().odbcSpeaksUtf8;
    // Each piece of a text ends with a NUL that is not part of it.
    const auto octets = kind == ColumnKind::Octets ? fetchedOctets(column, SQL_C_BINARY, 0)
                        : isUtf8                   ? fetchedOctets(column, SQL_C_CHAR, sizeof(SQLCHAR))
                                                   : fetchedOctets(column, SQL_C_WCHAR, sizeof(SQLWCHAR));
    if (!octets)
        return {};
    if (kind == ColumnKind::Octets)
        return *octets;
    return columnValue(kind, isUtf8 ? QString::fromUtf8(*octets)
                                    : QString(reinterpret_cast<const QChar *>(octets->constData()),
                                              octets->size() / qsizetype(sizeof(QChar))));
}

std::optional<QByteArray> OdbcStatement::fetchedOctets(SQLUSMALLINT column, SQLSMALLINT cType,
                                                       size_t endOctets)
{
    QByteArray octets("");
    std::array<char, pieceOctets> piece; // not cleared: one for every value read
    const size_t space = piece.size() - endOctets;
    for (;;) {
        SQLLEN left = 0; // octets of the value from here on, where the driver knows
        const SQLRETURN result = SQLGetData(m_handle.get(), column, cType, piece.data(), piece.size(), &left);
        if (result == SQL_NO_DATA)
            return octets;
        check(result);
        if (left == SQL_NULL_DATA)
            return std::nullopt;
        const bool isLast = left != SQL_NO_TOTAL && size_t(left) <= space;
        octets.append(piece.data(), qsizetype(isLast ? size_t(left) : space));
        if (isLast)
            return octets;
    }
}

void OdbcStatement::finish() noexcept
{
    if (m_isOpen || m_driver.closesAfterRefusal())
        SQLFreeStmt(m_handle.get(), SQL_CLOSE);
    m_isOpen = false;
    m_hasResult = false;
}

void OdbcStatement::check(SQLRETURN result)
{
    if (!SQL_SUCCEEDED(result))
        throw m_driver.faultOf(m_sql, m_handle);
}
