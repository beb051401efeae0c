#include "database/qtsql/SqliteDriver.h"

#include "database/dialects/SqlDialects.h"
#include "database/driver/BoundValue.h"
#include "database/qtsql/QtSqlStatement.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QUrl>
#include <sqlite3.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace
{

/// Without a write-ahead log a commit keeps all others out, and who waits asks again after 100 ms at the
/// latest. So commits that follow each other at once rest a little longer now and then.
constexpr auto longestWork = 600ms;
constexpr auto rest = 110ms;

/// Of 4 KiB each, changed by one transaction that spares memory. SQLite takes a multiple of 256 for no limit.
constexpr int mostPagesInMemory = 1000;

/// Texts and times as SQLite keeps them. Left alone, a date-time would be stored with a "T" and milliseconds, and a
/// null text as NULL.
class SqliteStatement final : public QtSqlStatement
{
public:
    SqliteStatement(QtSqlLine &line, const QString &sql) : QtSqlStatement(line, sql, sql) {}

    void execute(const QVariantList &values) override
    {
        QVariantList bound;
        for (const QVariant &value : values) {
            bound += boundValue(value, QChar());
            // SQLite takes one off the start of what it is given.
            if (bound.last().typeId() == QMetaType::QString &&
                beginsWithByteOrderMark(bound.last().toString()))
                bound.last() = QString(QChar::ByteOrderMark) + bound.last().toString();
        }
        QtSqlStatement::execute(bound);
    }

private:
    static bool beginsWithByteOrderMark(const QString &text)
    {
        return text.startsWith(QChar::ByteOrderMark) || text.startsWith(QChar::ByteOrderSwapped);
    }
};

} // namespace

SqliteDriver::SqliteDriver(QString fileName)
    : QtSqlLine(u"QSQLITE"_s), m_dialect(sqliteDialect()), m_fileName(std::move(fileName))
{
}

void SqliteDriver::open()
{
    QSqlDatabase db = database();
    // mode=rw: never create a missing file.
    const QString path = QFileInfo(m_fileName).absoluteFilePath();
    db.setDatabaseName("file:"_L1 + QString::fromLatin1(QUrl::toPercentEncoding(path, "/")) + "?mode=rw"_L1);
    db.setConnectOptions(u"QSQLITE_OPEN_URI;QSQLITE_BUSY_TIMEOUT=%1"_s.arg(busyLimit.count()));
    if (!db.open())
        throw DatabaseFault(DatabaseFault::Kind::Lost, QFileInfo::exists(path)
                                                           ? u"无法打开数据库文件 %1：%2"_s.arg(
                                                                 m_fileName, db.lastError().databaseText())
                                                           : u"数据库文件 %1 不存在"_s.arg(m_fileName));
    m_openedFile = fileIdentity();
    // A file that is no database opens all the same; the first statement tells.
    exec(u"select count(*) from sqlite_master"_s);
    // With less, a journal that was deleted may come back after a power cut and take the last commit with it.
    exec(u"pragma synchronous=extra"_s);
    // Without a write-ahead log a transaction that outgrows the cache would write to the file long before its
    // commit and keep all readers out from then on: what it has changed stays in memory.
    const auto journal = std::make_unique<SqliteStatement>(line(), u"pragma journal_mode"_s);
    journal->execute({});
    if (journal->next() && journal->value(0).toString() != u"wal"_s)
        exec(u"pragma cache_spill=0"_s);
}

void SqliteDriver::spareMemory()
{
    exec(u"pragma cache_spill=%1"_s.arg(mostPagesInMemory));
}

bool SqliteDriver::isUsable() const
{
    return fileIdentity() == m_openedFile;
}

void SqliteDriver::begin()
{
    Driver::begin();
    m_transactionBegan = SteadyClock::now();
}

void SqliteDriver::commit()
{
    const auto began = SteadyClock::now();
    Driver::commit();
    noteCommit(m_transactionBegan, SteadyClock::now() - began);
}

void SqliteDriver::hasWritten(std::chrono::nanoseconds duration)
{
    if (!isInTransaction())
        noteCommit(SteadyClock::now() - duration, duration);
}

void SqliteDriver::noteCommit(SteadyClock::time_point began, std::chrono::nanoseconds duration)
{
    if (began - m_lastCommit >= rest) {
        m_workBegan = began;
        m_keptOut = {};
    }
    m_keptOut += duration;
    const auto worked = SteadyClock::now() - m_workBegan;
    if (worked >= longestWork) {
        if (m_keptOut > worked / 3)
            sqlite3_sleep(static_cast<int>(rest.count()));
        m_workBegan = SteadyClock::now();
        m_keptOut = {};
    }
    m_lastCommit = SteadyClock::now();
}

std::unique_ptr<Statement> SqliteDriver::prepare(const QString &sql)
{
    return std::make_unique<SqliteStatement>(line(), withColumnNames(sql));
}

QString SqliteDriver::withColumnNames(const QString &sql)
{
    static const QRegularExpression allColumns(u"^select \\* from (\\w+)"_s,
                                               QRegularExpression::CaseInsensitiveOption);
    const auto match = allColumns.match(sql);
    if (!match.hasMatch())
        return sql;
    const auto query = std::make_unique<SqliteStatement>(line(), u"select name from pragma_table_info(?)"_s);
    query->execute({match.captured(1)});
    QStringList columns;
    while (query->next())
        columns += u'"' + query->value(0).toString().replace(u'"', R"("")"_L1) + u'"';
    const QString from = sql.mid(match.capturedStart(1));
    return columns.isEmpty() ? sql : "select "_L1 + columns.join(u',') + " from "_L1 + from;
}

DatabaseFault SqliteDriver::fault(const QString &what, const QSqlError &error) const
{
    const SqlErrorCode code{{}, error.nativeErrorCode().toInt()};
    return {m_dialect->kindOf(code), described(what, error), m_dialect->causeOf(code)};
}

QByteArray SqliteDriver::fileIdentity() const
{
    struct stat status {
    };
    if (::stat(QFile::encodeName(m_fileName).constData(), &status) != 0)
        return {};
    return QByteArray::number(quint64(status.st_dev)) + ':' + QByteArray::number(quint64(status.st_ino));
}
