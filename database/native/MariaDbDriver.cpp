#include "database/native/MariaDbDriver.h"

#include "database/dialects/SqlDialects.h"
#include "database/native/ClearPasswords.h"
#include "database/native/MariaDbStatement.h"

using namespace Qt::StringLiterals;

MariaDbDriver::MariaDbDriver(ServerTarget target)
    : ServerDriver(mariaDbDialect(), target.limits), m_target(std::move(target))
{
    refuseClearPasswords();
}

bool MariaDbDriver::mustBeEncrypted() const
{
    return m_target.sslMode == "require"_L1 || m_target.sslMode.startsWith("verify"_L1);
}

void MariaDbDriver::connect()
{
    m_connection.reset(mysql_init(nullptr));
    MYSQL *connection = m_connection.get();
    const auto seconds = static_cast<unsigned int>(limits().connect.count());
    const my_bool yes = 1;
    mysql_options(connection, MYSQL_OPT_CONNECT_TIMEOUT, &seconds);
    mysql_options(connection, MYSQL_SET_CHARSET_NAME, "utf8mb4");
    if (mustBeEncrypted())
        mysql_options(connection, MYSQL_OPT_SSL_ENFORCE, &yes);
    if (m_target.sslMode.startsWith("verify"_L1))
        mysql_options(connection, MYSQL_OPT_SSL_VERIFY_SERVER_CERT, &yes);
    if (!m_target.certificateAuthority.isEmpty())
        mysql_options(connection, MYSQL_OPT_SSL_CA, m_target.certificateAuthority.toUtf8().constData());
    const QByteArray host = m_target.host.toUtf8();
    const bool isLocalSocket = host.startsWith('/');
    // An UPDATE tells how many rows it found, whether or not they had the value before.
    const bool isOpen =
        mysql_real_connect(connection, isLocalSocket ? nullptr : host.constData(),
                           m_target.user.toUtf8().constData(), m_target.password.toUtf8().constData(),
                           m_target.database.toUtf8().constData(), static_cast<unsigned int>(m_target.port),
                           isLocalSocket ? host.constData() : nullptr, CLIENT_FOUND_ROWS) != nullptr;
    if (!isOpen)
        throw unreachable(m_target.host, QString::fromUtf8(mysql_error(connection)));
    if (mustBeEncrypted() && mysql_get_ssl_cipher(connection) == nullptr)
        throw unreachable(m_target.host, u"服务器没有加密连接，而连接字符串要求加密"_s);
    guard().setSockets({static_cast<int>(mysql_get_socket(connection))});
}

std::unique_ptr<Statement> MariaDbDriver::prepareLine(const QString &sql, const QString &spelled)
{
    return std::make_unique<MariaDbStatement>(*this, m_connection.get(), sql, spelled);
}

/// Not prepared: the server forgets the warnings when a statement is prepared or reset.
QList<QVariantList> MariaDbDriver::plainRows(const QString &sql)
{
    MYSQL *connection = m_connection.get();
    const QByteArray text = sql.toUtf8();
    require(mysql_real_query(connection, text.constData(), static_cast<unsigned long>(text.size())) == 0,
            sql);
    const std::unique_ptr<MYSQL_RES, decltype(&mysql_free_result)> result(mysql_store_result(connection),
                                                                          &mysql_free_result);
    require(result || mysql_errno(connection) == 0, sql);
    QList<QVariantList> rows;
    for (MYSQL_ROW row = result ? mysql_fetch_row(result.get()) : nullptr; row != nullptr;
         row = mysql_fetch_row(result.get())) {
        QVariantList &values = rows.emplaceBack();
        for (unsigned int column = 0; column < mysql_num_fields(result.get()); ++column)
            values += row[column] == nullptr ? QVariant() : QVariant(QString::fromUtf8(row[column]));
    }
    return rows;
}

void MariaDbDriver::require(bool isDone, const QString &sql) const
{
    if (!isDone)
        throw fault(sql, {{}, static_cast<int>(mysql_errno(m_connection.get()))},
                    QString::fromUtf8(mysql_error(m_connection.get())));
}
