#include "database/native/PostgreSqlStatement.h"

#include "database/driver/BoundValue.h"
#include "database/driver/SqlToken.h"

#include <QDateTime>
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
    // Numbers of types, which never change (pg_type.dat).
    constexpr Oid boolean = 16, bytea = 17, int8 = 20, int2 = 21, int4 = 23, oid = 26, float4 = 700,
                  float8 = 701, bpchar = 1042, date = 1082, timestamp = 1114, timestamptz = 1184,
                  numeric = 1700;
    if (PQgetisnull(result, row, column) != 0)
        return {};
    const char *octets = PQgetvalue(result, row, column);
    const QString text = QString::fromUtf8(octets, PQgetlength(result, row, column));
    switch (PQftype(result, column)) {
    case boolean:
        return int(text == "t"_L1);
    case int2:
    case int4:
    case int8:
    case oid:
        return text.toLongLong();
    case float4:
    case float8:
        return text.toDouble();
    case numeric: {
        bool isWhole = false;
        const qlonglong whole = text.toLongLong(&isWhole);
        return isWhole ? QVariant(whole) : QVariant(text);
    }
    case bytea:
        return octetsOf(octets);
    case bpchar:
        return withoutPadding(text);
    case date:
        return QDate::fromString(text, Qt::ISODate);
    case timestamp:
    case timestamptz:
        return QDateTime::fromString(text, Qt::ISODateWithMs).toLocalTime();
    default:
        return text;
    }
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
