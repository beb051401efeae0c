#include "database/native/SqliteDriver.h"

#include "database/dialects/SqlDialects.h"
#include "database/native/SqliteStatement.h"

#include <QFile>
#include <QFileInfo>
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

} // namespace

SqliteDriver::SqliteDriver(QString fileName) : m_dialect(sqliteDialect()), m_fileName(std::move(fileName)) {}

void SqliteDriver::open()
{
    const QString path = QFileInfo(m_fileName).absoluteFilePath();
    sqlite3 *database = nullptr;
    // A missing file is not created.
    const int result =
        sqlite3_open_v2(QFile::encodeName(path).constData(), &database, SQLITE_OPEN_READWRITE, nullptr);
    m_database.reset(database);
    if (result != SQLITE_OK)
        throw DatabaseFault(
            DatabaseFault::Kind::Lost,
            QFileInfo::exists(path)
                ? u"无法打开数据库文件 %1：%2"_s.arg(m_fileName, QString::fromUtf8(sqlite3_errstr(result)))
                : u"数据库文件 %1 不存在"_s.arg(m_fileName));
    sqlite3_busy_timeout(database, busyLimit.count());
    m_openedFile = fileIdentity();
    // A file that is no database opens all the same; the first statement tells.
    runPlain(u"select count(*) from sqlite_master"_s);
    // With less, a journal that was deleted may come back after a power cut and take the last commit with it.
    runPlain(u"pragma synchronous=extra"_s);
    // Without a write-ahead log a transaction that outgrows the cache would write to the file long before its
    // commit and keep all readers out from then on: what it has changed stays in memory.
    SqliteStatement journal(*this, database, u"pragma journal_mode"_s);
    journal.execute({});
    if (journal.next() && journal.value(0).toString() != u"wal"_s)
        runPlain(u"pragma cache_spill=0"_s);
}

void SqliteDriver::runPlain(const QString &sql)
{
    if (sqlite3_exec(m_database.get(), sql.toUtf8().constData(), nullptr, nullptr, nullptr) != SQLITE_OK)
        throw fault(sql);
}

void SqliteDriver::spareMemory()
{
    runPlain(u"pragma cache_spill=%1"_s.arg(mostPagesInMemory));
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
    return std::make_unique<SqliteStatement>(*this, m_database.get(), sql);
}

DatabaseFault SqliteDriver::fault(const QString &what) const
{
    const SqlErrorCode code{{}, sqlite3_extended_errcode(m_database.get())};
    return faultOf(what, code, QString::fromUtf8(sqlite3_errmsg(m_database.get())));
}

QByteArray SqliteDriver::fileIdentity() const
{
    struct stat status {
    };
    if (::stat(QFile::encodeName(m_fileName).constData(), &status) != 0)
        return {};
    return QByteArray::number(quint64(status.st_dev)) + ':' + QByteArray::number(quint64(status.st_ino));
}
