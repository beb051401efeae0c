#include "database/qtsql/PostgreSqlInsert.h"

#include "database/driver/SqlToken.h"

#include <algorithm>
#include <memory>
#include <vector>

using namespace Qt::StringLiterals;

namespace
{

constexpr qsizetype manyOctets = 64LL * 1024;

bool isManyOctets(const QVariant &value)
{
    return value.typeId() == QMetaType::QByteArray && value.toByteArray().size() > manyOctets;
}

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

} // namespace

PostgreSqlInsert::PostgreSqlInsert(QtSqlLine &line, PGconn *connection, const QString &sql,
                                   const QString &spelled)
    : QtSqlStatement(line, sql, spelled),
      m_line(line),
      m_connection(connection),
      m_sql(sql),
      m_numbered(numbered(spelled))
{
}

void PostgreSqlInsert::execute(const QVariantList &values)
{
    m_binaryCount.reset();
    if (std::any_of(values.begin(), values.end(), isManyOctets))
        executeBinary(values);
    else
        QtSqlStatement::execute(values);
}

qint64 PostgreSqlInsert::affectedRows() const
{
    return m_binaryCount ? *m_binaryCount : QtSqlStatement::affectedRows();
}

void PostgreSqlInsert::executeBinary(const QVariantList &values)
{
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
    const std::unique_ptr<PGresult, decltype(&PQclear)> result(
        PQexecParams(m_connection, m_numbered.constData(), static_cast<int>(values.size()), nullptr,
                     starts.data(), lengths.data(), formats.data(), 0),
        &PQclear);
    if (PQresultStatus(result.get()) != PGRES_COMMAND_OK)
        throw m_line.fault(
            m_sql, QSqlError({}, QString::fromUtf8(PQerrorMessage(m_connection)), QSqlError::StatementError,
                             QString::fromLatin1(PQresultErrorField(result.get(), PG_DIAG_SQLSTATE))));
    m_binaryCount = QByteArray(PQcmdTuples(result.get())).toLongLong();
}
