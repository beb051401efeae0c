#include "database/native/PostgreSqlStatement.h"

#include "database/driver/BoundValue.h"
#include "database/driver/SqlToken.h"

#include <QHash>
#include <vector>

using namespace Qt::StringLiterals;

namespace
{

/// With $1, $2 ... for its question marks.
QByteArray numbered(const QString &sql)
{
    QString text;
    int count = 0;
    for (const SqlToken &token : sqlTokens(sql)) {
        const bool isParameter = token.kind == SqlToken::Kind::Symbol && token.text == u'?';
        text += isParameter ? u'$' + QString::number(++count) : token.text;
    }
    return text.toUtf8();
}

constexpr Oid boolean = 16;

/// Types have numbers that never change (pg_type.dat).
ColumnKind kindOf(Oid type)
{
    static const QHash<Oid, ColumnKind> kinds{
        {20, ColumnKind::Number},       // int8
        {21, ColumnKind::Number},       // int2
        {23, ColumnKind::Number},       // int4
        {26, ColumnKind::Number},       // oid
        {1700, ColumnKind::Number},     // numeric
        {700, ColumnKind::Fraction},    // float4
        {701, ColumnKind::Fraction},    // float8
        {17, ColumnKind::Octets},       // bytea
        {1042, ColumnKind::PaddedText}, // bpchar
        {1082, ColumnKind::Date},       // date
        {1114, ColumnKind::DateTime},   // timestamp
        {1184, ColumnKind::DateTime},   // timestamptz
    };
    return kinds.value(type, ColumnKind::Text);
}

QByteArray octetsOf(const char *escaped)
{
    size_t length = 0;
    const std::unique_ptr<unsigned char, decltype(&PQfreemem)> octets(
        PQunescapeBytea(reinterpret_cast<const unsigned char *>(escaped), &length), &PQfreemem);
    return {reinterpret_cast<const char *>(octets.get()), static_cast<qsizetype>(length)};
}

} // namespace

PostgreSqlResult checked(const ServerDriver &driver, const QString &what, PGconn *connection,
                         PGresult *result)
{
    PostgreSqlResult owned(result);
    const ExecStatusType status = PQresultStatus(result);
    if (status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK)
        return owned;
    const char *words = PQresultErrorField(result, PG_DIAG_MESSAGE_PRIMARY);
    throw driver.fault(what, {QString::fromLatin1(PQresultErrorField(result, PG_DIAG_SQLSTATE)), 0},
                       QString::fromUtf8(words != nullptr ? words : PQerrorMessage(connection)));
}

QVariant valueOf(const PGresult *result, int row, int column)
{
    if (PQgetisnull(result, row, column) != 0)
        return {};
    const char *octets = PQgetvalue(result, row, column);
    const ColumnKind kind = kindOf(PQftype(result, column));
    if (kind == ColumnKind::Octets)
        return octetsOf(octets);
    const QString text = QString::fromUtf8(octets, PQgetlength(result, row, column));
    if (PQftype(result, column) == boolean)
        return int(text == "t"_L1);
    return columnValue(kind, text);
}

PostgreSqlStatement::PostgreSqlStatement(const ServerDriver &driver, PGconn *connection, QString sql,
                                         const QString &spelled)
    : m_driver(driver), m_connection(connection), m_sql(std::move(sql))
{
    static quint64 count = 0;
    m_name = "sms_" + QByteArray::number(++count);
    static_cast<void>(
        checked(driver, m_sql, connection,
                PQprepare(connection, m_name.constData(), numbered(spelled).constData(), 0, nullptr)));
}

PostgreSqlStatement::~PostgreSqlStatement()
{
    // With its connection it goes by itself.
    if (!m_driver.isClosing())
        PQclear(PQexec(m_connection, "deallocate " + m_name));
}

void PostgreSqlStatement::execute(const QVariantList &values)
{
    finish();
    m_row = -1;
    QByteArrayList octets; // as sent
    std::vector<const char *> starts;
    std::vector<int> lengths;
    std::vector<int> formats; // 1 for binary
    for (const QVariant &value : values) {
        const bool isBinary = value.typeId() == QMetaType::QByteArray;
        octets += isBinary ? value.toByteArray() : value.toString().toUtf8();
        starts.push_back(value.isNull() ? nullptr : octets.last().constData());
        lengths.push_back(static_cast<int>(octets.last().size()));
        formats.push_back(isBinary ? 1 : 0);
    }
    m_result = checked(m_driver, m_sql, m_connection,
                       PQexecPrepared(m_connection, m_name.constData(), static_cast<int>(values.size()),
                                      starts.data(), lengths.data(), formats.data(), 0));
}

QStringList PostgreSqlStatement::columnNames() const
{
    QStringList names;
    for (int column = 0; column < PQnfields(m_result.get()); ++column)
        names += QString::fromUtf8(PQfname(m_result.get(), column));
    return names;
}
