#include "database/native/PostgreSqlDriver.h"

#include "database/dialects/SqlDialects.h"
#include "database/native/PostgreSqlStatement.h"

#include <array>
#include <vector>

using namespace Qt::StringLiterals;

PostgreSqlDriver::PostgreSqlDriver(ServerTarget target)
    : ServerDriver(postgreSqlDialect(), target.limits), m_target(std::move(target))
{
}

void PostgreSqlDriver::connect()
{
    const auto settings = std::to_array<std::pair<const char *, QByteArray>>({
        {"host", m_target.host.toUtf8()},
        {"port", m_target.port > 0 ? QByteArray::number(m_target.port) : QByteArray()},
        {"dbname", m_target.database.toUtf8()},
        {"user", m_target.user.toUtf8()},
        {"password", m_target.password.toUtf8()},
        {"sslmode", m_target.sslMode.toUtf8()},
        {"sslrootcert", m_target.certificateAuthority.toUtf8()},
        {"connect_timeout", QByteArray::number(limits().connect.count())},
        {"client_encoding", "UTF8"},
    });
    std::vector<const char *> keys;
    std::vector<const char *> values; // empty: the usual one
    for (const auto &[key, value] : settings) {
        keys.push_back(key);
        values.push_back(value.constData());
    }
    keys.push_back(nullptr);
    values.push_back(nullptr);
    m_connection.reset(PQconnectdbParams(keys.data(), values.data(), 0));
    if (PQstatus(m_connection.get()) != CONNECTION_OK) {
        QString words = QString::fromUtf8(PQerrorMessage(m_connection.get())).section(u'\n', 0, 0);
        // As openGauss and its kin have by default.
        if (words.contains("authentication me"_L1) && words.contains("supported"_L1)) // method, mechanisms
            words +=
                u"（请 OA 系统管理员让该用户以 md5 登录，或安装该数据库的 ODBC 驱动程序并写 Dialect=PostgreSQL）"_s;
        throw unreachable(m_target.host, words);
    }
    guard().setSockets({PQsocket(m_connection.get())});
}

std::unique_ptr<Statement> PostgreSqlDriver::prepareLine(const QString &sql, const QString &spelled)
{
    return std::make_unique<PostgreSqlStatement>(*this, m_connection.get(), sql, spelled);
}

QList<QVariantList> PostgreSqlDriver::plainRows(const QString &sql)
{
    PGconn *connection = m_connection.get();
    const auto result = checked(*this, sql, connection, PQexec(connection, sql.toUtf8().constData()));
    QList<QVariantList> rows;
    for (int row = 0; row < PQntuples(result.get()); ++row) {
        QVariantList &values = rows.emplaceBack();
        for (int column = 0; column < PQnfields(result.get()); ++column)
            values += valueOf(result.get(), row, column);
    }
    return rows;
}
