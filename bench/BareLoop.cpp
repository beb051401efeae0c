#include "bench/BareLoop.h"

#include <QSqlError>
#include <array>
#include <sql.h>
#include <sqlext.h>
#include <sqlucode.h>

using namespace Qt::StringLiterals;

namespace
{

[[noreturn]] void fail(const QString &what)
{
    qFatal("bare loop: %s", qPrintable(what));
}

class QtSqlLoop final : public BareLoop
{
public:
    explicit QtSqlLoop(const Office &office)
        : m_database(
              QSqlDatabase::cloneDatabase(QSqlDatabase::database(office.oaConnection(), false), u"bare"_s))
    {
        if (!m_database.open(PrivateDatabaseServer::user(), PrivateDatabaseServer::password()))
            fail(m_database.lastError().text());
        for (int i = 0; i < Count; ++i) {
            m_queries.emplace_back(m_database);
            m_queries.back().setForwardOnly(true);
            if (!m_queries.back().prepare(text(Prepared(i))))
                fail(m_queries.back().lastError().text());
        }
    }
    ~QtSqlLoop() override
    {
        m_queries.clear();
        m_database = {};
        QSqlDatabase::removeDatabase(u"bare"_s);
    }

protected:
    void plain(const QString &sql) override
    {
        QSqlQuery query(m_database);
        if (!query.exec(sql))
            fail(query.lastError().text());
    }
    void execute(Prepared statement, const QVariantList &values) override
    {
        QSqlQuery &query = m_queries[size_t(statement)];
        for (int i = 0; i < values.size(); ++i)
            query.bindValue(i, values[i]);
        if (!query.exec())
            fail(query.lastError().text());
    }
    QString lookUp(const QString &name) override
    {
        execute(Lookup, {name});
        QSqlQuery &query = m_queries[Lookup];
        query.next();
        QString number = query.value(0).toString();
        query.finish();
        return number;
    }
    QList<QVariantList> rows(const QString &sql) override
    {
        QSqlQuery query(m_database);
        query.exec(sql);
        QList<QVariantList> rows;
        while (query.next()) {
            QVariantList row;
            for (int i = 0; i < 5; ++i)
                row += query.value(i);
            rows += row;
        }
        return rows;
    }

private:
    QSqlDatabase m_database;
    std::vector<QSqlQuery> m_queries;
};

class OdbcLoop final : public BareLoop
{
public:
    explicit OdbcLoop(const QString &connectString)
    {
        SQLAllocHandle(SQL_HANDLE_ENV, nullptr, &m_environment);
        SQLSetEnvAttr(m_environment, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0);
        SQLAllocHandle(SQL_HANDLE_DBC, m_environment, &m_connection);
        QString odbc = connectString + u"CommLog=0"_s;
        require(SQLDriverConnectW(m_connection, nullptr, wide(odbc), SQL_NTS, nullptr, 0, nullptr,
                                  SQL_DRIVER_NOPROMPT));
        for (int i = 0; i < Count; ++i) {
            SQLAllocHandle(SQL_HANDLE_STMT, m_connection, &m_statements[size_t(i)]);
            QString sql = text(Prepared(i));
            require(SQLPrepareW(m_statements[size_t(i)], wide(sql), SQL_NTS));
        }
    }
    ~OdbcLoop() override
    {
        for (SQLHANDLE statement : m_statements)
            SQLFreeHandle(SQL_HANDLE_STMT, statement);
        SQLDisconnect(m_connection);
        SQLFreeHandle(SQL_HANDLE_DBC, m_connection);
        SQLFreeHandle(SQL_HANDLE_ENV, m_environment);
    }

protected:
    void plain(const QString &sql) override
    {
        SQLHANDLE statement = nullptr;
        SQLAllocHandle(SQL_HANDLE_STMT, m_connection, &statement);
        QString copy = sql;
        require(SQLExecDirectW(statement, wide(copy), SQL_NTS));
        SQLFreeHandle(SQL_HANDLE_STMT, statement);
    }
    void execute(Prepared statement, const QVariantList &values) override
    {
        SQLHANDLE handle = m_statements[size_t(statement)];
        QStringList texts;
        std::array<SQLLEN, 8> lengths{};
        for (const QVariant &value : values)
            texts += value.toString();
        for (int i = 0; i < texts.size(); ++i) {
            lengths[size_t(i)] = texts[i].size() * 2;
            require(SQLBindParameter(handle, SQLUSMALLINT(i + 1), SQL_PARAM_INPUT, SQL_C_WCHAR, SQL_WVARCHAR,
                                     SQLULEN(qMax(1, int(texts[i].size()))), 0, wide(texts[i]),
                                     lengths[size_t(i)], &lengths[size_t(i)]));
        }
        require(SQLExecute(handle));
        if (statement != Lookup)
            SQLFreeStmt(handle, SQL_CLOSE);
    }
    QString lookUp(const QString &name) override
    {
        execute(Lookup, {name});
        require(SQLFetch(m_statements[Lookup]));
        QString number = column(m_statements[Lookup], 1);
        SQLFreeStmt(m_statements[Lookup], SQL_CLOSE);
        return number;
    }
    QList<QVariantList> rows(const QString &sql) override
    {
        SQLHANDLE statement = nullptr;
        SQLAllocHandle(SQL_HANDLE_STMT, m_connection, &statement);
        QString copy = sql;
        require(SQLExecDirectW(statement, wide(copy), SQL_NTS));
        QList<QVariantList> rows;
        while (SQL_SUCCEEDED(SQLFetch(statement))) {
            QVariantList row;
            for (SQLUSMALLINT i = 1; i <= 5; ++i)
                row += column(statement, i);
            rows += row;
        }
        SQLFreeHandle(SQL_HANDLE_STMT, statement);
        return rows;
    }

private:
    static SQLWCHAR *wide(QString &text) { return reinterpret_cast<SQLWCHAR *>(text.data()); }
    static QString column(SQLHANDLE statement, SQLUSMALLINT number)
    {
        std::array<char16_t, 1024> text{};
        SQLLEN length = 0;
        SQLGetData(statement, number, SQL_C_WCHAR, text.data(), sizeof text, &length);
        return QString::fromUtf16(text.data(), length / 2);
    }
    static void require(SQLRETURN result)
    {
        if (!SQL_SUCCEEDED(result))
            fail(u"ODBC call failed"_s);
    }

    SQLHANDLE m_environment = nullptr;
    SQLHANDLE m_connection = nullptr;
    std::array<SQLHANDLE, Count> m_statements{};
};

} // namespace

QString BareLoop::text(Prepared statement)
{
    switch (statement) {
    case Lookup:
        return u"select Mobile from VO_UserInfor where UserName=?"_s;
    case InsertQueue:
        return u"insert into SMS_Queues (SOAID, ToUser, ToMB, MsgContent, MsgStatus, MsgType, RetryCount)"
               " values (?, ?, ?, ?, ?, ?, ?)"_s;
    case InsertResult:
        return u"insert into SMS_ResultDetail (SOAID, ToUser, ToMB, SendOutDT, IsSuccess, MsgContent)"
               " values (?, ?, ?, ?, ?, ?)"_s;
    case DeleteQueue:
        return u"delete from SMS_Queues where OAID=?"_s;
    case Count:
        break;
    }
    return {};
}

void BareLoop::expand(const QStringList &names, const QStringList &pieces)
{
    plain(u"begin"_s);
    plain(
        u"insert into SMS_SendList (FromUser, ToUserList, ToNameList, CreateDT, MsgType, MsgContent)"
        " select FromUserName, ToUserList, ToNameList, CreateDT, MsgType, MsgContent from SMS_WaitToSend"_s);
    for (const QString &name : names) {
        const QString number = lookUp(name);
        for (const QString &piece : pieces)
            execute(InsertQueue, {1, name, number, piece, u"0"_s, u"0"_s, 0});
    }
    plain(u"delete from SMS_WaitToSend"_s);
    plain(u"commit"_s);
}

void BareLoop::archive()
{
    const auto finished =
        rows(u"select OAID, SOAID, ToUser, ToMB, MsgContent from SMS_Queues where MsgStatus<>'0'"_s);
    for (const QVariantList &row : finished) {
        plain(u"begin"_s);
        execute(InsertResult, {row[1], row[2], row[3], u"2006-03-05 07:08:09"_s, u"1"_s, row[4]});
        execute(DeleteQueue, {row[0]});
        plain(u"commit"_s);
    }
}

std::unique_ptr<BareLoop> bareLoop(const Office &office)
{
    if (office.route() == DatabaseRoute::PostgreSqlOdbc || office.route() == DatabaseRoute::MariaDbOdbc)
        return std::make_unique<OdbcLoop>(office.connectString());
    return std::make_unique<QtSqlLoop>(office);
}
