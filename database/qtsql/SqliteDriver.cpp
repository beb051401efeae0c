#include "database/qtsql/SqliteDriver.h"

#include "database/driver/BoundValue.h"
#include "database/qtsql/QtSqlStatement.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QThread>
#include <QUrl>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace
{

/// Without a write-ahead log a commit keeps all others out, and who waits asks again after 100 ms at the
/// latest. So commits that follow each other at once rest a little longer now and then.
constexpr qint64 workNanoseconds = 600'000'000;
constexpr qint64 restNanoseconds = 110'000'000;

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

DatabaseFault::Kind kindOf(int resultCode)
{
    // Result codes of SQLite; the low byte is the primary code.
    switch (resultCode & 0xff) {
    case 5:  // SQLITE_BUSY
    case 6:  // SQLITE_LOCKED
    case 7:  // SQLITE_NOMEM
    case 8:  // SQLITE_READONLY
    case 13: // SQLITE_FULL
        return DatabaseFault::Kind::Unavailable;
    case 10: // SQLITE_IOERR
    case 11: // SQLITE_CORRUPT
    case 14: // SQLITE_CANTOPEN
    case 26: // SQLITE_NOTADB
        return DatabaseFault::Kind::Lost;
    default:
        return DatabaseFault::Kind::Refused;
    }
}

} // namespace

SqliteDriver::SqliteDriver(QString fileName) : QtSqlLine(u"QSQLITE"_s), m_fileName(std::move(fileName))
{
    m_clock.start();
}

void SqliteDriver::open()
{
    if (!QFileInfo::exists(m_fileName))
        throw DatabaseFault(DatabaseFault::Kind::Lost, u"数据库文件 %1 不存在"_s.arg(m_fileName));
    QSqlDatabase db = database();
    // mode=rw: never create a missing file.
    const QString path = QFileInfo(m_fileName).absoluteFilePath();
    db.setDatabaseName("file:"_L1 + QString::fromLatin1(QUrl::toPercentEncoding(path, "/")) + "?mode=rw"_L1);
    db.setConnectOptions(u"QSQLITE_OPEN_URI;QSQLITE_BUSY_TIMEOUT=%1"_s.arg(busyLimitMilliseconds));
    if (!db.open())
        throw DatabaseFault(DatabaseFault::Kind::Lost,
                            u"无法打开数据库文件 %1：%2"_s.arg(m_fileName, db.lastError().databaseText()));
    m_openedFile = fileIdentity();
    // A file that is no database opens all the same; the first statement tells.
    exec(u"select count(*) from sqlite_master"_s);
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
    exec(u"BEGIN IMMEDIATE"_s);
    m_isInTransaction = true;
    m_transactionBegan = m_clock.nsecsElapsed();
}

void SqliteDriver::commit()
{
    const qint64 began = m_clock.nsecsElapsed();
    exec(u"COMMIT"_s);
    m_isInTransaction = false;
    noteCommit(m_transactionBegan, m_clock.nsecsElapsed() - began);
}

void SqliteDriver::rollback() noexcept
{
    m_isInTransaction = false;
    try {
        exec(u"ROLLBACK"_s);
    } catch (const DatabaseFault &) {
        // A transaction that cannot be rolled back is gone with its connection.
    }
}

void SqliteDriver::setSavepoint(const QString &name)
{
    exec("SAVEPOINT "_L1 + name);
}

void SqliteDriver::releaseSavepoint(const QString &name)
{
    exec("RELEASE SAVEPOINT "_L1 + name);
}

void SqliteDriver::rollbackToSavepoint(const QString &name)
{
    exec("ROLLBACK TO SAVEPOINT "_L1 + name);
}

void SqliteDriver::hasWritten(qint64 nanoseconds)
{
    if (!m_isInTransaction)
        noteCommit(m_clock.nsecsElapsed() - nanoseconds, nanoseconds);
}

void SqliteDriver::noteCommit(qint64 began, qint64 nanoseconds)
{
    if (began - m_lastCommit >= restNanoseconds) {
        m_workBegan = began;
        m_keptOut = 0;
    }
    m_keptOut += nanoseconds;
    const qint64 worked = m_clock.nsecsElapsed() - m_workBegan;
    if (worked >= workNanoseconds) {
        if (m_keptOut > worked / 3)
            QThread::usleep(restNanoseconds / 1000);
        m_workBegan = m_clock.nsecsElapsed();
        m_keptOut = 0;
    }
    m_lastCommit = m_clock.nsecsElapsed();
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

QString SqliteDriver::identityInsert(const QString &insert, const QString &identityColumn) const
{
    return insert + " returning "_L1 + identityColumn;
}

QString SqliteDriver::updateOfFirstRow(const QString &table, const QString &assignments,
                                       const QString &condition) const
{
    return u"update %1 set %2 where rowid=(select rowid from %1 where %3 limit 1)"_s.arg(table, assignments,
                                                                                         condition);
}

DatabaseFault SqliteDriver::fault(const QString &what, const QSqlError &error) const
{
    constexpr int primaryCode = 0xff;
    constexpr int readOnly = 8; // SQLITE_READONLY
    const int code = error.nativeErrorCode().toInt();
    return {kindOf(code), described(what, error),
            (code & primaryCode) == readOnly ? DatabaseFault::Cause::Table : DatabaseFault::Cause::Other};
}

QByteArray SqliteDriver::fileIdentity() const
{
    struct stat status {
    };
    if (::stat(QFile::encodeName(m_fileName).constData(), &status) != 0)
        return {};
    return QByteArray::number(quint64(status.st_dev)) + ':' + QByteArray::number(quint64(status.st_ino));
}
