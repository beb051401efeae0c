#include "database/qtsql/QtSqlServerDriver.h"

#include "database/driver/BoundValue.h"
#include "database/qtsql/QtSqlStatement.h"

#include <QSqlResult>
#include <libpq-fe.h>

using namespace Qt::StringLiterals;

namespace
{

/// Values of a server's statement, in the kinds in which other drivers give them too.
class QtSqlServerStatement final : public QtSqlStatement
{
public:
    using QtSqlStatement::QtSqlStatement;

    [[nodiscard]] QVariant value(int column) const override
    {
        QVariant value = QtSqlStatement::value(column);
        if (value.typeId() == QMetaType::Bool)
            return value.isNull() ? QVariant() : QVariant(value.toInt());
        if (value.typeId() == QMetaType::QString && isPadded(column))
            return withoutPadding(value.toString());
        return value;
    }

private:
    /// PostgreSQL fills char(n) with blanks that mean nothing; MariaDB takes them off by itself.
    [[nodiscard]] bool isPadded(int column) const
    {
        constexpr Oid postgreSqlBpchar = 1042;
        if (!m_padded) {
            m_padded.emplace();
            const QVariant handle = query().result()->handle();
            if (qstrcmp(handle.typeName(), "pg_result*") == 0) {
                const PGresult *result = *static_cast<PGresult *const *>(handle.data());
                for (int i = 0; i < PQnfields(result); ++i)
                    *m_padded += PQftype(result, i) == postgreSqlBpchar;
            }
        }
        return m_padded->value(column);
    }

    mutable std::optional<QList<bool>> m_padded;
};

} // namespace

QtSqlServerDriver::QtSqlServerDriver(const QString &qtDriver, ServerTarget target,
                                     std::unique_ptr<SqlDialect> dialect)
    : ServerDriver(std::move(dialect), target.limits), QtSqlLine(qtDriver), m_target(std::move(target))
{
}

QtSqlServerDriver::~QtSqlServerDriver()
{
    forgetQuestions();
}

void QtSqlServerDriver::connect()
{
    QSqlDatabase db = database();
    if (m_target.port > 0)
        db.setPort(m_target.port);
    db.setDatabaseName(m_target.database);
    db.setUserName(m_target.user);
    db.setPassword(m_target.password);
    configure(db);
    if (!db.open())
        throw DatabaseFault(DatabaseFault::Kind::Lost,
                            u"无法连接数据库服务器 %1：%2"_s.arg(m_target.host, causeOf(db.lastError())));
    guard().setSockets({socket(db)});
}

QString QtSqlServerDriver::serverVersion()
{
    const auto rows = plainRows(u"select version()"_s, 1);
    return rows.isEmpty() ? QString() : rows[0][0].toString();
}

std::unique_ptr<Statement> QtSqlServerDriver::prepareLine(const QString &sql, const QString &spelled)
{
    return std::make_unique<QtSqlServerStatement>(line(), sql, spelled);
}

DatabaseFault QtSqlServerDriver::fault(const QString &what, const QSqlError &error) const
{
    if (hasTimedOut())
        return {DatabaseFault::Kind::Lost, u"数据库服务器 %1 在规定时间内没有应答"_s.arg(m_target.host)};
    const SqlErrorCode code = codeOf(error);
    return {dialect().kindOf(code), described(what, error), dialect().causeOf(code)};
}

/// Not prepared: the server forgets the warnings when a statement is prepared or reset.
QList<QVariantList> QtSqlServerDriver::plainRows(const QString &sql, int columns)
{
    QSqlQuery query(database());
    if (!query.exec(sql))
        throw fault(sql, query.lastError());
    QList<QVariantList> rows;
    while (query.next()) {
        QVariantList row;
        for (int column = 0; column < columns; ++column)
            row += query.value(column);
        rows += row;
    }
    return rows;
}
